#include "marshal/generated/typecode_constant.h"

#include <vector>

namespace harbolance {

void TypeCodeConstant::makeNow() const {
    // While the enclosing type is made it asks for this one as its part; `_type` is already set then.
    if (_making)
        return;
    _making = true;
    try {
        if (!_type)
            _type = _make();
        // Making the enclosing type makes this one a part of it, and so completes the recursive references in
        // it.
        if (_enclosing && !_enclosing->_type)
            _enclosing->makeNow();
    } catch (...) {
        // The next use will try again.
        _making = false;
        throw;
    }
    _making = false;
}

// A type made as constant is only resolved at the start of the ORB. Recursive types are therefore made as
// ordinary ones, with one reference that is never released.

CORBA_TypeCode* stringType(CORBA_ULong bound) {
    return new CORBA_TypeCode(bound, TRXStringWidth::narrow, true);
}

CORBA_TypeCode* wideStringType(CORBA_ULong bound) {
    return new CORBA_TypeCode(bound, TRXStringWidth::wide, true);
}

CORBA_TypeCode* sequenceType(CORBA_TypeCode* content, CORBA_ULong bound) {
    return new CORBA_TypeCode(tk_sequence, bound, content, true);
}

CORBA_TypeCode* arrayType(CORBA_TypeCode* content, CORBA_ULong length) {
    return new CORBA_TypeCode(tk_array, length, content, true);
}

CORBA_TypeCode* recursiveSequenceType(CORBA_ULong levels, CORBA_ULong bound) {
    return new CORBA_TypeCode(TRXRecursion{bound, levels, true}, false);
}

CORBA_TypeCode* aliasType(const char* id, const char* name, CORBA_TypeCode* original) {
    return new CORBA_TypeCode(id, name, original, true);
}

CORBA_TypeCode* interfaceType(const char* id, const char* name) { return new CORBA_TypeCode(id, name, true); }

CORBA_TypeCode* enumType(const char* id, const char* name, std::initializer_list<const char*> enumerators) {
    return new CORBA_TypeCode(id, name, std::span<const char* const>(enumerators), true);
}

CORBA_TypeCode* exceptionType(const char* id, const char* name,
                              std::initializer_list<TRXStructMember> members) {
    return new CORBA_TypeCode(tk_except, id, name, members, true);
}

CORBA_TypeCode* structType(const char* id, const char* name, std::initializer_list<TRXStructMember> members,
                           Recursion recursion) {
    return new CORBA_TypeCode(tk_struct, id, name, members, recursion == Recursion::none);
}

CORBA_TypeCode* unionType(const char* id, const char* name, CORBA_TypeCode* discriminator,
                          std::initializer_list<BranchType> branches, Recursion recursion) {
    std::vector<TRXUnionMember> members;
    for (const BranchType& branch : branches)
        members.push_back({&branch.label, branch.name, branch.type});
    return new CORBA_TypeCode(id, name, discriminator, members, recursion == Recursion::none);
}

} // namespace harbolance
