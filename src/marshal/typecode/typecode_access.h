#pragma once

#include "marshal/typecode/typecode.h"

#include <cstring>

namespace harbolance {

// The inside of a CORBA_TypeCode, for the code of this library that walks values by their types and that
// reads and writes types. What is returned is borrowed, and no kind is checked.
class TypeCodeAccess {
public:
    // The ORB has started: counting begins, and the constant types learn which of them are recursive. Only
    // the first call does anything.
    static void startUp() { CORBA_TypeCode::startUp(); }

    // What the type is an alias of, itself if it is none.
    static const CORBA_TypeCode& unaliased(const CORBA_TypeCode& type) { return *type.unaliased(); }
    static CORBA_TCKind valueKind(const CORBA_TypeCode& type) { return type.unaliased()->_kind; }
    static const char* id(const CORBA_TypeCode& type) { return type._id; } // empty for a kind without one
    static const char* name(const CORBA_TypeCode& type) { return type._name; }
    static CORBA_ULong length(const CORBA_TypeCode& type) { return type._length; }
    // Of a sequence, array or alias; null for a recursive sequence that nothing encloses yet.
    static const CORBA_TypeCode* content(const CORBA_TypeCode& type) { return type._content; }
    static CORBA_ULong recursionOffset(const CORBA_TypeCode& type) { return type._offset; }
    static const TRXFixed* fixed(const CORBA_TypeCode& type) {
        return type._has_fixed ? &type._fixed : nullptr;
    }

    static CORBA_ULong memberCount(const CORBA_TypeCode& type) {
        return static_cast<CORBA_ULong>(type._members.size());
    }
    static const char* memberName(const CORBA_TypeCode& type, CORBA_ULong i) { return type._members[i].name; }
    static const CORBA_TypeCode* memberType(const CORBA_TypeCode& type, CORBA_ULong i) {
        return type._members[i].type;
    }

    // Of a union. A value of a basic kind is told by its octets in memory, from the first one on.
    static const CORBA_TypeCode& discriminator(const CORBA_TypeCode& type) { return *type._content; }
    static CORBA_Long defaultIndex(const CORBA_TypeCode& type) { return type._labels->default_index; }
    static CORBA_TypeCode* labelType(const CORBA_TypeCode& type, CORBA_ULong i) {
        return type._labels->labels[i].type;
    }
    static uint64_t label(const CORBA_TypeCode& type, CORBA_ULong i) { return type._labels->labels[i].value; }
    template <class T>
    static uint64_t labelOf(T value) {
        uint64_t octets = 0;
        std::memcpy(&octets, &value, sizeof value);
        return octets;
    }
    // The type of the member that a discriminator selects. No such member raises CORBA_BAD_PARAM.
    static const CORBA_TypeCode* memberFor(const CORBA_TypeCode& type, uint64_t discriminator) {
        return type.memberFor(discriminator);
    }

    // One of the constants of the system. The compiler initialises it and nothing destroys it.
    union Constant {
        constexpr explicit Constant(CORBA_TCKind kind, const char* id = "", const char* name = nullptr)
            : type(kind, id, name) {}
        ~Constant() {}

        CORBA_TypeCode type;
    };

    // --- For the reader, which makes types piece by piece ----------------------------------------------

    // Of any kind, in the family of `head`; without one the type is the head of a family of its own.
    static CORBA_TypeCode* make(CORBA_ULong kind, CORBA_TypeCode* head);
    static bool areOneFamily(const CORBA_TypeCode& a, const CORBA_TypeCode& b) { return a._head == b._head; }
    static void identify(CORBA_TypeCode& type, CORBA_String_var id, CORBA_String_var name);
    static void setLength(CORBA_TypeCode& type, CORBA_ULong length) { type._length = length; }
    static void setContent(CORBA_TypeCode& type, CORBA_TypeCode* content) {
        type._content = part(type, content);
    }
    static void reserveMembers(CORBA_TypeCode& type, CORBA_ULong count);
    static void addMember(CORBA_TypeCode& type, CORBA_String_var name, CORBA_TypeCode* member) {
        type.addMember(name._retn(), part(type, member));
    }
    static void addLabel(CORBA_TypeCode& type, CORBA_TypeCode* labelType, uint64_t value) {
        type.addLabel(part(type, labelType), value);
    }
    static void setDefaultIndex(CORBA_TypeCode& type, CORBA_Long index);
    static bool isComplete(const CORBA_TypeCode& type) { return type._complete; }
    static void complete(CORBA_TypeCode& type);

private:
    // Only a reference to a type of another family is counted.
    static CORBA_TypeCode* part(const CORBA_TypeCode& type, CORBA_TypeCode* part) {
        return part && areOneFamily(type, *part) ? part : CORBA_TypeCode::_duplicate(part);
    }
};

} // namespace harbolance
