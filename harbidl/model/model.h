#pragma once

#include "model/declarations.h"

namespace harbidl {

// A whole definition with all that it includes.
class Model {
public:
    Model();

    const Module& global() const { return *global_; }
    // What stands outside of all modules, and the pieces of modules, in the order of the text.
    const Opening& contents() const { return *contents_; }
    const std::vector<std::unique_ptr<Declaration>>& declarations() const {
        return declarations_;
    } // all of them
    // The files of #pragma header, each with the file that it stands in.
    struct Header {
        uint32_t file;
        std::string name;
    };
    const std::vector<Header>& headers() const { return headers_; }

private:
    friend class Builder;

    std::vector<std::unique_ptr<Declaration>> declarations_;
    std::vector<std::unique_ptr<Type>> types_;
    std::vector<Header> headers_;
    Module* global_;
    Opening* contents_;
};

// The readable form: every declaration of the file that was named, resolved.
std::string dumped(const Model& model);

} // namespace harbidl
