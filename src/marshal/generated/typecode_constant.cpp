#include "marshal/generated/typecode_constant.h"

#include <vector>

namespace harbolance {

void TypeCodeConstant::makeNow() const {
    // The making of the enclosing type asks for this one, as a part of it: `_type` is set by then.
    if (_making)
        return;
    _making = true;
    try {
        if (!_type)
            _type = _make();
        // Making it makes this one a part of it, and so closes what is recursive in this one.
        if (_enclosing && !_enclosing->_type)
            _enclosing->makeNow();
    } catch (...) {
        // The next use tries again.
        _making = false;
        throw;
    }
    _making = false;
}

// Types that are made constant learn only at the start of the ORB that they are recursive. The recursive ones
// are made as others are, with one reference that is never given up.

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
