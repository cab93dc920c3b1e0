#pragma once

#include "marshal/exception/user_exception.h"
#include "marshal/text/vstr.h"
#include "marshal/text/vstream.h"
#include "marshal/typecode/tckind.h"
#include "marshal/var.h"

#include <iosfwd>
#include <memory>
#include <span>

class CORBA_Any;
class CORBA_TypeCode;
class TRXTypeCodeReader;

// Descriptions of IDL types at run time, which every CORBA_Any carries and the dynamic interfaces are driven
// by. Construction and what can be asked of a description is here and in typecode.cpp, the constants in
// typecode_constants.cpp, recursive types and when they die in typecode_recursion.cpp, comparison in
// typecode_compare.cpp, what tells most types apart without a comparison in typecode_shape.cpp, the wire
// forms in typecode_write.cpp and typecode_read.cpp, the readable form in typecode_dump.cpp.

// What constructors are told of members. Nothing is kept: names and labels are copied.
struct TRXStructMember {
    const char* name;
    CORBA_TypeCode* type;
};
struct TRXUnionMember {
    const CORBA_Any* label; // of TypeCode _tc_octet for the default member
    const char* name;
    CORBA_TypeCode* type;
};

enum class TRXStringWidth : bool { narrow, wide };

// A sequence whose elements are of the type that encloses it `offset` levels up: 1 is the struct or union
// that it is a member of.
struct TRXRecursion {
    CORBA_ULong bound;
    CORBA_ULong offset;
};

struct TRXFixed {
    CORBA_UShort digits;
    CORBA_Short scale;
};

// A type. It is counted and begins with one reference, except for two sorts that live until the process ends
// and cost nothing to duplicate and release: those made `constant`, as generated code does, and those made
// before the ORB's start-up. References among the types of a recursive type count as well; when only those
// are left the types go together.
class CORBA_TypeCode {
public:
    // An index at or beyond the members.
    class Bounds final : public TRXExceptionOf<Bounds, CORBA_UserException> {
    public:
        static const CORBA_ExceptionDesc& _descriptor();
    };
    // A question that the kind has no answer to.
    class BadKind final : public TRXExceptionOf<BadKind, CORBA_UserException> {
    public:
        static const CORBA_ExceptionDesc& _descriptor();
    };

    // With `constant` the types that are named are not duplicated and have to be constant as well. A kind
    // that a constructor does not make raises CORBA_BAD_PARAM.
    CORBA_TypeCode(CORBA_TCKind basic, bool constant);
    // tk_struct and tk_except
    CORBA_TypeCode(CORBA_TCKind kind, const char* id, const char* name,
                   std::span<const TRXStructMember> members, bool constant);
    // A union. The last member with a label of kind tk_octet is its default.
    CORBA_TypeCode(const char* id, const char* name, CORBA_TypeCode* discriminator,
                   std::span<const TRXUnionMember> members, bool constant);
    // An enum.
    CORBA_TypeCode(const char* id, const char* name, std::span<const char* const> enumerators, bool constant);
    // An alias.
    CORBA_TypeCode(const char* id, const char* name, CORBA_TypeCode* original, bool constant);
    // A reference to objects of an interface.
    CORBA_TypeCode(const char* id, const char* name, bool constant);
    // A string; bound 0 is no bound.
    CORBA_TypeCode(CORBA_ULong bound, TRXStringWidth width, bool constant);
    // tk_sequence and tk_array
    CORBA_TypeCode(CORBA_TCKind kind, CORBA_ULong length, CORBA_TypeCode* content, bool constant);
    CORBA_TypeCode(TRXRecursion recursion, bool constant);
    CORBA_TypeCode(TRXFixed fixed, bool constant);

    CORBA_TypeCode(const CORBA_TypeCode&) = delete;
    CORBA_TypeCode& operator=(const CORBA_TypeCode&) = delete;
    ~CORBA_TypeCode();

    // Strings that are returned live as long as the TypeCode. TypeCodes and Anys that are returned belong to
    // the caller. A question that does not fit the kind raises BadKind.
    CORBA_TCKind kind() const { return _kind; }
    CORBA_ULong param_count() const { return _param_count; }
    // The parameter itself with one more reference, or a copy if the TypeCode is constant.
    CORBA_Any* parameter(CORBA_ULong index) const;
    const char* id() const;
    const char* name() const;
    CORBA_ULong member_count() const;
    const char* member_name(CORBA_ULong index) const;
    CORBA_TypeCode* member_type(CORBA_ULong index) const;
    CORBA_Any* member_label(CORBA_ULong index) const; // as for `parameter`
    CORBA_TypeCode* discriminator_type() const;
    CORBA_Long default_index() const; // -1 without a default member
    CORBA_ULong length() const;
    CORBA_TypeCode* content_type() const; // null for a recursive sequence that nothing encloses yet
    // A fixed type that was read from a stream does not know them and raises Bounds.
    CORBA_UShort fixed_digits() const;
    CORBA_Short fixed_scale() const;

    bool equal(const CORBA_TypeCode* other) const { return compare(this, other) == 0; }
    CORBA_ULong hash() const;
    CORBA_ULong hash(CORBA_ULong maximum) const; // below `maximum`, unless that is 0
    // A three-way order. Aliases count as what they stand for, ids do not count, and all references to
    // objects are the same type, as are all exceptions. Deeper than TRXNesting goes raises CORBA_MARSHAL.
    static int compare(const CORBA_TypeCode* a, const CORBA_TypeCode* b);
    static CORBA_ULong hash_of(const CORBA_TypeCode* type) { return type ? type->hash() : 0; } // null gives 0

    // Readable lines. See `operator<<` below.
    static void dump(TRXostream& stream, CORBA_TypeCode* type);

    static CORBA_TypeCode* _duplicate(CORBA_TypeCode* type) {
        if (type && type->_counted)
            ++type->_ref_count;
        return type;
    }
    static CORBA_TypeCode* _nil() { return nullptr; }
    CORBA_Long _refcount() const { return _ref_count; }
    bool _is_constant() const { return _constant; }

    // While one lives nothing is destroyed. Many releases at once then cost one look at what they leave.
    // Those that live at the same time have to be nested.
    class Releases {
    public:
        Releases();
        Releases(const Releases&) = delete;
        Releases& operator=(const Releases&) = delete;
        ~Releases();

    private:
        bool _nested;
    };

    // The ORB has started: counting begins, and the constant types learn which of them are recursive. Only
    // the first call does anything.
    static void _start_up();

    // For code that walks values: the same answers without the references and without a check of the kind.
    const CORBA_TypeCode* _unaliased() const;
    const CORBA_TypeCode* _content() const; // of a sequence, array or alias; null as for content_type
    const CORBA_TypeCode* _member(CORBA_ULong index) const; // of a struct, exception or union
    const CORBA_TypeCode* _discriminator() const;
    CORBA_ULong _members() const;
    // The type of the member that a union value with this discriminator has. No such member raises
    // CORBA_BAD_PARAM.
    const CORBA_TypeCode* _member_for_label(const CORBA_Any& discriminator) const;
    const CORBA_Any& _parameter(CORBA_ULong index) const { return *_params[index]; }
    const char* _plain_id() const { return _id; } // empty for the kinds without one
    // Equal for types that `compare` finds equal, apart from the types it does not look into, and with high
    // probability different for others.
    uint64_t _shape_hash() const;
    // Somebody has given up a share of `param`, and one is left.
    static void _share_dropped(const CORBA_Any& param);

    friend void CORBA_release(CORBA_TypeCode* type);

private:
    friend class TRXTypeCodeReader;
    friend struct TRXConstantTypeCodes;
    struct Raw {}; // of any kind, without parameters

    CORBA_TypeCode(Raw, CORBA_TCKind kind, bool constant);
    // One of the constants of the system: alive before and after everything else.
    constexpr CORBA_TypeCode(CORBA_TCKind kind, const char* id, CORBA_Any** params, CORBA_ULong count,
                             uint64_t shape)
        : _kind(kind), _param_count(count), _params(params), _id(const_cast<char*>(id)), _shape(shape),
          _constant(true) {}

    void identify(const char* id);
    void reserve(uint64_t params); // before the first of them is added
    void add(CORBA_Any* param) { _params[_param_count++] = param; }
    void addName(const char* name);
    void addNumber(CORBA_ULong number);
    void addType(CORBA_TypeCode* type);
    void resolveMembers();
    uint64_t shape() const;
    uint64_t outline() const;
    uint64_t findOutline() const;

    const CORBA_Any& checked(uint64_t index) const;
    CORBA_Any* handOut(const CORBA_Any& param) const;
    CORBA_TypeCode* typeAt(CORBA_ULong index) const;
    CORBA_ULong membersFrom() const;
    CORBA_ULong memberStride() const;

    void orderLabels() const;
    CORBA_Long memberWithLabel(const CORBA_Any& discriminator) const; // -1 when there is none

    static bool isOpenRecursion(const CORBA_Any& content);
    static bool resolve(CORBA_TypeCode& type, CORBA_TypeCode& target, CORBA_ULong depth);
    static bool resolveContent(CORBA_TypeCode& sequence, CORBA_TypeCode& target, CORBA_ULong depth);
    void awaitStartUp();
    void leavePending();
    template <class Visit>
    void forEachInRing(Visit visit) const;
    static void suspect(CORBA_TypeCode* type);
    static void dispose(CORBA_TypeCode* type);
    static void settle();
    static void collect();
    void releaseParameters();

    CORBA_TCKind _kind;
    CORBA_ULong _param_count = 0;
    CORBA_Any** _params = nullptr; // as many as the kind and the members need
    char* _id;
    mutable uint64_t _shape = 0;   // 0 is not known yet
    mutable uint64_t _outline = 0; // likewise
    // The members of a large union in the order of their labels, made by the first search.
    mutable std::unique_ptr<CORBA_ULong[]> _by_label;
    mutable CORBA_ULong _by_label_count = 0;
    CORBA_Long _default_index = -1;
    CORBA_Long _ref_count = 1;
    CORBA_ULong _scratch = 0;        // of `collect`
    CORBA_TypeCode* _next = nullptr; // of `dispose` and `suspect`
    bool _constant = false;
    bool _counted = false;
    bool _cyclic = false;      // may be one of the types of a recursive type
    bool _suspected = false;   // a reference that `suspect` holds is among the counted ones
    bool _passed_over = false; // by a search for rings, since a parameter that holds it was shared
    bool _unresolved = false;  // a recursive sequence in it may still wait for the type that encloses it
    bool _closed = true;       // false while it is being read
};

using CORBA_TypeCode_ptr = CORBA_TypeCode*;
using CORBA_TypeCode_var = TRXVar<CORBA_TypeCode>;

void CORBA_release(CORBA_TypeCode* type);
inline bool CORBA_is_nil(const CORBA_TypeCode* type) { return type == nullptr; }

// The types that need no construction. They can be used by whatever runs before `main`, and after it.
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

// The wire form: encapsulated with indirections, or flat where marshalSettings.backDII says so. Null is
// written as _tc_null. A recursive type that must be written without indirection, and one that is nested
// deeper than TRXNesting goes, raise CORBA_MARSHAL.
TRXostream& operator<<(TRXostream& stream, CORBA_TypeCode* type);
// The caller owns the TypeCode; the old pointer is overwritten. It is null when the stream raises, as it does
// with CORBA_MARSHAL for everything that describes no type.
TRXistream& operator>>(TRXistream& stream, CORBA_TypeCode*& type);
// The dump on cout, cerr and clog; on any other stream the wire form as text.
std::ostream& operator<<(std::ostream& stream, CORBA_TypeCode* type);
