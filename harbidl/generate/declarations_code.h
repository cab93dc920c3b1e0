#pragma once

#include "generate/stub_header.h"

namespace harbidl {

// Prints the declarations of one header. The contents of a class are declared in the class; their operators
// follow it, because C++ needs them in the enclosing namespace.
class DeclarationsCode {
public:
    DeclarationsCode(const Unit& unit, Emitter& out) : unit_(unit), out_(out) {}

    // Prints those declarations of a module, or of the whole file, that are in the file.
    void all(const std::vector<Declaration*>& declarations);

private:
    // declarations_code.cpp
    void opening(const Opening& opening);
    void one(const Declaration& declaration);
    void inside(const std::vector<Declaration*>& contents);
    void afterwards();
    void operators(const Declaration& declaration);

    void constant(const Constant& constant);
    void enumeration(const Enum& enumeration);
    void structure(const Struct& structure);
    void exception(const Struct& exception);
    void forward(const Interface& interface);
    void interface(const Interface& interface);
    void operations(const Interface& interface);
    void anonymousType(const Member& member);
    void members(const std::vector<Member*>& members);
    void typeCode(const Declaration& declaration, bool native);

    // declare_alias.cpp
    void alias(const Alias& alias);
    void sequenceAlias(const Alias& alias);
    void arrayAlias(const Alias& alias);
    void arrayFunctions(const Alias& alias);
    void sameNames(const Alias& alias, const std::vector<std::string>& suffixes);

    // declare_union.cpp
    void unionType(const Union& owner);
    void accessors(const Union& owner, const Branch& branch, size_t index);
    void branchOf(const Union& owner);
    void cases(const Union& owner, const Branch& branch, size_t index);
    std::string label(const Union& owner, const Value& value) const;

    std::string local(const Declaration& declaration) const { return unit_.names.local(declaration); }
    bool inClass() const { return depth_ > 0; }

    const Unit& unit_;
    Emitter& out_;
    int depth_ = 0; // number of classes around the present declaration
    // Declarations in the present class whose operators must still be printed.
    std::vector<const Declaration*> contained_;
    std::set<const Interface*> announced_; // declared forward
};

} // namespace harbidl
