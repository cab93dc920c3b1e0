#pragma once

#include "model/names.h"

#include <set>

namespace harbidl {

// Assigns repository ids to declarations, including those given by pragmas.
class RepositoryIds {
public:
    RepositoryIds(Names& names, Diagnostics& diagnostics) : names_(names), diagnostics_(diagnostics) {}

    // A prefix is valid to the end of its scope and file.
    void prefix(uint32_t file, const std::string& text) { prefixes_[file] = text; }
    std::string enter(uint32_t file) { return prefixes_[file]; }
    void leave(uint32_t file, std::string prefix) { prefixes_[file] = std::move(prefix); }

    void assign(Declaration& declaration);
    // #pragma ID and version, which stand in `scope`.
    void apply(Scope& scope, const tree::Pragma& pragma);

private:
    void setId(Declaration& declaration, const tree::Pragma& pragma);
    void setVersion(Declaration& declaration, const tree::Pragma& pragma);

    Names& names_;
    Diagnostics& diagnostics_;
    std::map<uint32_t, std::string> prefixes_; // by file
    std::set<const Declaration*> fixed_;       // declarations whose id or version was set by a pragma
};

} // namespace harbidl
