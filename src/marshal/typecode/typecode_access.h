#pragma once

#include "marshal/typecode/typecode.h"

#include <cstring>

namespace harbolance {

// Access to the private parts of a CORBA_TypeCode, for the code of this library that processes values by
// their types and that reads and writes types. Results are borrowed, and no kind is checked.
class TypeCodeAccess {
public:
    // Called when the ORB starts: from then on types are counted, and recursive constant types are resolved.
    // Only the first call has an effect.
    static void startUp() { CORBA_TypeCode::startUp(); }

    // The original type of an alias; any other type itself.
    static const CORBA_TypeCode& unaliased(const CORBA_TypeCode& type) { return *type.unaliased(); }
    static CORBA_TCKind valueKind(const CORBA_TypeCode& type) { return type.unaliased()->_kind; }
    static const char* id(const CORBA_TypeCode& type) { return type._id; } // empty for a kind without one
    static const char* name(const CORBA_TypeCode& type) { return type._name; }
    static CORBA_ULong length(const CORBA_TypeCode& type) { return type._length; }
    // The content of a sequence, array or alias; null for a recursive sequence that no type encloses yet.
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

    // For unions. A value of a basic kind is given by its octets in memory, from the first one up.
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
    // The type of the member that a discriminator selects. Raises CORBA_BAD_PARAM when it selects none.
    static const CORBA_TypeCode* memberFor(const CORBA_TypeCode& type, uint64_t discriminator) {
        return type.memberFor(discriminator);
    }

    // A constant of the system, initialised at compile time and never destroyed.
    union Constant {
        constexpr explicit Constant(CORBA_TCKind kind, const char* id = "", const char* name = nullptr)
            : type(kind, id, name) {}
        ~Constant() {}

        CORBA_TypeCode type;
    };

    // --- For the reader, which makes types in steps -------------------------------------------------------

    // A type of any kind in the family of `head`; without `head` the first type of a new family.
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
    // A reference is counted only when it is to a type of another family.
    static CORBA_TypeCode* part(const CORBA_TypeCode& type, CORBA_TypeCode* part) {
        return part && areOneFamily(type, *part) ? part : CORBA_TypeCode::_duplicate(part);
    }
};

} // namespace harbolance
