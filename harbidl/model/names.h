#pragma once

#include "model/declarations.h"
#include "syntax/diagnostics.h"
#include "syntax/tree.h"

namespace harbidl {

// What names mean, scope by scope. Names that differ in case only are the same name, wrongly written.
class Names {
public:
    explicit Names(Diagnostics& diagnostics) : diagnostics_(diagnostics) {}

    // Enters the declaration in the scope. False after an error: the name has another meaning there.
    bool declare(Scope& scope, Declaration& declaration);

    // What the name is declared as in this very scope, null for nothing.
    static Declaration* own(const Scope& scope, const std::string& name);

    // All that it could mean there: in an interface also what it inherits, unless it declares the name
    // itself.
    static std::vector<Declaration*> meanings(const Scope& scope, const std::string& name);

    // Whether the name means anything for what stands in `from`.
    static bool knows(const Scope& from, const std::string& name);

    // What the name means there. Null after an error.
    Declaration* find(Scope& from, const tree::ScopedName& name);

    // The operations and attributes that the bases bring must have different names.
    void checkInherited(const Interface& interface);

private:
    Declaration* findFirst(Scope& from, const tree::Identifier& name);
    Declaration* findIn(const Scope& scope, const tree::Identifier& name);

    Diagnostics& diagnostics_;
};

std::string inLowerCase(const std::string& text);

} // namespace harbidl
