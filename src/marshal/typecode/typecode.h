#pragma once

#include "marshal/exception/user_exception.h"
#include "marshal/text/vstr.h"
#include "marshal/text/vstream.h"
#include "marshal/typecode/tckind.h"
#include "marshal/var.h"

#include <concepts>
#include <iosfwd>
#include <memory>
#include <span>
#include <vector>

class CORBA_Any;
class CORBA_TypeCode;

namespace harbolance {

class TypeCodeAccess;

// Accepts only a `bool`, no type that C++ would convert to one, such as a text passed in the wrong place.
class ExactBool {
public:
    template <std::same_as<bool> Bool>
    constexpr ExactBool(Bool value) : _value(value) {}
    constexpr operator bool() const { return _value; }

private:
    bool _value;
};

} // namespace harbolance

// The members as passed to constructors. Names and labels are copied, nothing is kept.
struct TRXStructMember {
    const char* name;
    CORBA_TypeCode* type;
};
struct TRXUnionMember {
    const CORBA_Any* label; // of a basic kind; of TypeCode _tc_octet for the default member
    const char* name;
    CORBA_TypeCode* type;
};

enum class TRXStringWidth : bool { narrow, wide };

// A sequence whose elements have the type that encloses it `offset` levels up; 1 is the struct or union of
// which it is a member.
struct TRXRecursion {
    CORBA_ULong bound;
    CORBA_ULong offset;
    // Also resolved when an array comes between. Otherwise an array ends the search for the enclosing type.
    bool behindArrays = false;
};

struct TRXFixed {
    CORBA_UShort digits;
    CORBA_Short scale;
};

// The run-time description of an IDL type. Every CORBA_Any contains one, and the dynamic interfaces use them.
// Construction and queries are here and in typecode.cpp, the labels of unions in typecode_union.cpp,
// recursive types and lifetime in typecode_family.cpp, comparison in typecode_compare.cpp, the wire forms in
// typecode_write.cpp and typecode_read.cpp, the readable form in typecode_dump.cpp, the constants in
// typecode_constants.cpp.
//
// A type is reference-counted and starts with one reference. Two sorts of types live until the process ends
// instead, and duplicating or releasing them has no effect: those made `constant`, as in generated code, and
// those made before the ORB's start-up. The types of a recursive type are one family, and so are types that
// were read together: a family has one count, of the references from outside it, and its types are destroyed
// together.
class CORBA_TypeCode {
public:
    // Raised for a member index out of range.
    class Bounds final : public TRXExceptionOf<Bounds, CORBA_UserException> {
    public:
        static const CORBA_ExceptionDesc& _descriptor();
    };
    // Raised by a query that does not apply to the kind.
    class BadKind final : public TRXExceptionOf<BadKind, CORBA_UserException> {
    public:
        static const CORBA_ExceptionDesc& _descriptor();
    };

    // With `constant` the types passed in are not duplicated and must be constant too. A kind that the
    // constructor does not make, and a label that is not of a basic kind, raise CORBA_BAD_PARAM.
    CORBA_TypeCode(CORBA_TCKind basic, harbolance::ExactBool constant);
    // tk_struct and tk_except
    CORBA_TypeCode(CORBA_TCKind kind, const char* id, const char* name,
                   std::span<const TRXStructMember> members, harbolance::ExactBool constant);
    // A union. The last member with a label of kind tk_octet is its default.
    CORBA_TypeCode(const char* id, const char* name, CORBA_TypeCode* discriminator,
                   std::span<const TRXUnionMember> members, harbolance::ExactBool constant);
    // An enum.
    CORBA_TypeCode(const char* id, const char* name, std::span<const char* const> enumerators,
                   harbolance::ExactBool constant);
    // An alias.
    CORBA_TypeCode(const char* id, const char* name, CORBA_TypeCode* original,
                   harbolance::ExactBool constant);
    // A reference to objects of an interface.
    CORBA_TypeCode(const char* id, const char* name, harbolance::ExactBool constant);
    // A string; bound 0 means no bound.
    CORBA_TypeCode(CORBA_ULong bound, TRXStringWidth width, harbolance::ExactBool constant);
    // tk_sequence and tk_array
    CORBA_TypeCode(CORBA_TCKind kind, CORBA_ULong length, CORBA_TypeCode* content,
                   harbolance::ExactBool constant);
    CORBA_TypeCode(TRXRecursion recursion, harbolance::ExactBool constant);
    CORBA_TypeCode(TRXFixed fixed, harbolance::ExactBool constant);

    CORBA_TypeCode(const CORBA_TypeCode&) = delete;
    CORBA_TypeCode& operator=(const CORBA_TypeCode&) = delete;
    ~CORBA_TypeCode();

    // Returned strings live as long as the TypeCode. The caller owns returned TypeCodes and Anys. A query
    // that does not apply to the kind raises BadKind.
    CORBA_TCKind kind() const { return _kind; }
    // The parameters: the name, then the description of each member, or the content and its length.
    CORBA_ULong param_count() const;
    CORBA_Any* parameter(CORBA_ULong index) const; // a copy
    const char* id() const;
    const char* name() const;
    CORBA_ULong member_count() const;
    const char* member_name(CORBA_ULong index) const;
    CORBA_TypeCode* member_type(CORBA_ULong index) const;
    CORBA_Any* member_label(CORBA_ULong index) const; // a copy
    CORBA_TypeCode* discriminator_type() const;
    CORBA_Long default_index() const; // -1 without a default member
    CORBA_ULong length() const;
    CORBA_TypeCode* content_type() const; // null for a recursive sequence that no type encloses yet
    // A fixed type that was read from a stream does not have these, and raises Bounds.
    CORBA_UShort fixed_digits() const;
    CORBA_Short fixed_scale() const;

    bool equal(const CORBA_TypeCode* other) const { return compare(this, other) == 0; }
    CORBA_ULong hash() const;
    CORBA_ULong hash(CORBA_ULong maximum) const; // below `maximum`, unless that is 0
    // Three-way comparison. Aliases count as their original types, ids are ignored, all object references are
    // equal, and so are all exceptions. Types nested deeper than 1,000 levels raise CORBA_MARSHAL.
    static int compare(const CORBA_TypeCode* a, const CORBA_TypeCode* b);
    static CORBA_ULong hash_of(const CORBA_TypeCode* type) { return type ? type->hash() : 0; }

    // Readable lines. See `operator<<` below.
    static void dump(TRXostream& stream, CORBA_TypeCode* type);

    static CORBA_TypeCode* _duplicate(CORBA_TypeCode* type) {
        if (type && type->_counted)
            ++type->_head->_ref_count;
        return type;
    }
    static CORBA_TypeCode* _nil() { return nullptr; }
    CORBA_Long _refcount() const { return _head->_ref_count; } // of the family
    bool _is_constant() const { return _constant; }

    friend void CORBA_release(CORBA_TypeCode* type);

private:
    friend class harbolance::TypeCodeAccess;
    class Resolution;
    struct Raw {}; // of any kind, without parameters

    struct Member {
        char* name;
        CORBA_TypeCode* type; // null for an enumerator
    };
    struct Label {
        CORBA_TypeCode* type;
        uint64_t value; // its octets in memory, from the first one up; the others are 0
    };
    struct Labels {
        std::vector<Label> labels; // as many as members
        std::vector<CORBA_ULong> by_value;
        CORBA_Long default_index = -1;
    };

    CORBA_TypeCode(Raw, CORBA_TCKind kind, bool constant);
    CORBA_TypeCode(Raw, CORBA_TCKind kind, const char* id, const char* name, bool constant);
    // For the constants of the system, which exist before and after all other static objects.
    constexpr CORBA_TypeCode(CORBA_TCKind kind, const char* id, const char* name)
        : _kind(kind), _id(const_cast<char*>(id)), _name(const_cast<char*>(name)), _constant(true) {}

    CORBA_TypeCode* hold(CORBA_TypeCode* part);
    void addMember(char* name, CORBA_TypeCode* type);
    void addLabel(CORBA_TypeCode* type, uint64_t value);
    void orderLabels();
    const CORBA_TypeCode* memberFor(uint64_t discriminator) const;
    CORBA_Any* labelAt(CORBA_ULong index) const;
    CORBA_Any* memberParameter(CORBA_ULong index) const;
    const CORBA_TypeCode* unaliased() const {
        const CORBA_TypeCode* type = this;
        while (type->_kind == tk_alias && type->_content)
            type = type->_content;
        return type;
    }
    void resolve();
    void awaitStartUp();

    template <class Visit>
    void forEachPart(Visit visit) const;
    void releaseParts();
    static void destroyFamily(CORBA_TypeCode* head);
    static void startUp();

    CORBA_TCKind _kind;
    CORBA_ULong _length = 0; // the bound of a string or sequence, the length of an array
    char* _id;
    char* _name;
    CORBA_TypeCode* _content = nullptr; // of a sequence, array or alias; the discriminator of a union
    std::vector<Member> _members;
    std::unique_ptr<Labels> _labels; // of a union
    // A family is a linked list; `_head` is its first type.
    CORBA_TypeCode* _head = this;
    CORBA_TypeCode* _next = nullptr;
    CORBA_Long _ref_count = 1; // of the family, where this is its first type
    TRXFixed _fixed{};
    CORBA_ULong _offset = 0;     // of a recursive sequence
    bool _behind_arrays = false; // likewise
    bool _constant = false;
    bool _counted = false;
    bool _waits = false;   // contains a recursive sequence that may wait for its enclosing type
    bool _complete = true; // false while it is being read
    bool _has_fixed = false;
};

using CORBA_TypeCode_ptr = CORBA_TypeCode*;
using CORBA_TypeCode_var = TRXVar<CORBA_TypeCode>;

void CORBA_release(CORBA_TypeCode* type);
inline bool CORBA_is_nil(const CORBA_TypeCode* type) { return type == nullptr; }

// These types need no construction, so they can be used before and after `main`.
extern CORBA_TypeCode* const _tc_null;
extern CORBA_TypeCode* const _tc_void;
extern CORBA_TypeCode* const _tc_short;
extern CORBA_TypeCode* const _tc_long;
extern CORBA_TypeCode* const _tc_ushort;
extern CORBA_TypeCode* const _tc_ulong;
extern CORBA_TypeCode* const _tc_float;
extern CORBA_TypeCode* const _tc_double;
extern CORBA_TypeCode* const _tc_boolean;
extern CORBA_TypeCode* const _tc_char;
extern CORBA_TypeCode* const _tc_octet;
extern CORBA_TypeCode* const _tc_any;
extern CORBA_TypeCode* const _tc_TypeCode;
extern CORBA_TypeCode* const _tc_Principal;
extern CORBA_TypeCode* const _tc_string;
extern CORBA_TypeCode* const _tc_Object;
extern CORBA_TypeCode* const _tc_longlong;
extern CORBA_TypeCode* const _tc_ulonglong;
extern CORBA_TypeCode* const _tc_wchar;
extern CORBA_TypeCode* const _tc_wstring;
extern CORBA_TypeCode* const _tc_NamedValue;

// The wire form: encapsulated, with indirections, or flat if the ORB option backDII is set. Null is written
// as _tc_null. A type nested deeper than 1,000 levels, and a recursive one that must be written without
// indirections, raise CORBA_MARSHAL.
TRXostream& operator<<(TRXostream& stream, CORBA_TypeCode* type);
// The caller owns the TypeCode; the old pointer is overwritten, not released. It is null when the stream
// raises; octets that describe no type, and nesting deeper than 256 levels, raise CORBA_MARSHAL.
TRXistream& operator>>(TRXistream& stream, CORBA_TypeCode*& type);
// The dump on cout, cerr and clog; on any other stream the wire form as text.
std::ostream& operator<<(std::ostream& stream, CORBA_TypeCode* type);
