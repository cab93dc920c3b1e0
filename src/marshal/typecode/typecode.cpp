#include "marshal/typecode/typecode.h"

#include "marshal/any/any.h"
#include "marshal/any/any_access.h"
#include "marshal/typecode/kinds.h"
#include "marshal/typecode/typecode_access.h"

#include <array>

using namespace harbolance;

TRX_DEFINE_USER_EXCEPTION(CORBA_TypeCode::Bounds, "CORBA::TypeCode::Bounds",
                          "IDL:omg.org/CORBA/TypeCode/Bounds:1.0")
TRX_DEFINE_USER_EXCEPTION(CORBA_TypeCode::BadKind, "CORBA::TypeCode::BadKind",
                          "IDL:omg.org/CORBA/TypeCode/BadKind:1.0")

namespace {

constexpr std::array<const char*, kindCount> kindNames = {
    "tk_null",      "tk_void",       "tk_short",   "tk_long",    "tk_ushort", "tk_ulong",
    "tk_float",     "tk_double",     "tk_boolean", "tk_char",    "tk_octet",  "tk_any",
    "tk_TypeCode",  "tk_Principal",  "tk_objref",  "tk_struct",  "tk_union",  "tk_enum",
    "tk_string",    "tk_sequence",   "tk_array",   "tk_alias",   "tk_except", "tk_longlong",
    "tk_ulonglong", "tk_longdouble", "tk_wchar",   "tk_wstring", "tk_fixed",
};

bool isBasic(CORBA_TCKind kind) {
    // The kinds without parameters. tk_longdouble has no values in this ORB.
    return kind <= tk_Principal || kind == tk_longlong || kind == tk_ulonglong || kind == tk_wchar;
}

void require(bool fits) {
    if (!fits)
        throw CORBA_TypeCode::BadKind();
}

void accept(bool fits) {
    if (!fits)
        throw CORBA_BAD_PARAM();
}

CORBA_ULong within(CORBA_ULong index, size_t count) {
    if (index >= count)
        throw CORBA_TypeCode::Bounds();
    return index;
}

CORBA_Any* anyOf(auto value) {
    auto any = std::make_unique<CORBA_Any>();
    *any <<= value;
    return any.release();
}

} // namespace

const char* harbolance::kindName(CORBA_TCKind kind) { return kind < kindCount ? kindNames[kind] : nullptr; }

CORBA_TypeCode::CORBA_TypeCode(CORBA_TCKind basic, ExactBool constant)
    : CORBA_TypeCode(Raw{}, basic, constant) {
    accept(isBasic(basic));
}

CORBA_TypeCode::CORBA_TypeCode(CORBA_TCKind kind, const char* id, const char* name,
                               std::span<const TRXStructMember> members, ExactBool constant)
    : CORBA_TypeCode(Raw{}, kind, id, name, constant) {
    accept(kind == tk_struct || kind == tk_except);
    // An exception below leaves a type whose delegated constructor has completed, so its destructor runs.
    _members.reserve(members.size());
    for (const TRXStructMember& member : members)
        addMember(CORBA_string_dup(member.name), hold(member.type));
    resolve();
}

CORBA_TypeCode::CORBA_TypeCode(const char* id, const char* name, CORBA_TypeCode* discriminator,
                               std::span<const TRXUnionMember> members, ExactBool constant)
    : CORBA_TypeCode(Raw{}, tk_union, id, name, constant) {
    _content = hold(discriminator);
    _members.reserve(members.size());
    _labels->labels.reserve(members.size());
    for (const TRXUnionMember& member : members) {
        accept(member.label && basicSize(AnyAccess::valueKind(*member.label)) > 0);
        // A label of kind octet marks the default member.
        if (AnyAccess::type(*member.label)->_kind == tk_octet)
            _labels->default_index = static_cast<CORBA_Long>(_members.size());
        addLabel(hold(AnyAccess::type(*member.label)), AnyAccess::basicOctets(*member.label));
        addMember(CORBA_string_dup(member.name), hold(member.type));
    }
    orderLabels();
    resolve();
}

CORBA_TypeCode::CORBA_TypeCode(const char* id, const char* name, std::span<const char* const> enumerators,
                               ExactBool constant)
    : CORBA_TypeCode(Raw{}, tk_enum, id, name, constant) {
    _members.reserve(enumerators.size());
    for (const char* enumerator : enumerators)
        addMember(CORBA_string_dup(enumerator), nullptr);
}

CORBA_TypeCode::CORBA_TypeCode(const char* id, const char* name, CORBA_TypeCode* original, ExactBool constant)
    : CORBA_TypeCode(Raw{}, tk_alias, id, name, constant) {
    _content = hold(original);
}

CORBA_TypeCode::CORBA_TypeCode(const char* id, const char* name, ExactBool constant)
    : CORBA_TypeCode(Raw{}, tk_objref, id, name, constant) {}

CORBA_TypeCode::CORBA_TypeCode(CORBA_ULong bound, TRXStringWidth width, ExactBool constant)
    : CORBA_TypeCode(Raw{}, width == TRXStringWidth::wide ? tk_wstring : tk_string, constant) {
    _length = bound;
}

CORBA_TypeCode::CORBA_TypeCode(CORBA_TCKind kind, CORBA_ULong length, CORBA_TypeCode* content,
                               ExactBool constant)
    : CORBA_TypeCode(Raw{}, kind, constant) {
    accept(kind == tk_sequence || kind == tk_array);
    _content = hold(content);
    _length = length;
}

CORBA_TypeCode::CORBA_TypeCode(TRXRecursion recursion, ExactBool constant)
    : CORBA_TypeCode(Raw{}, tk_sequence, constant) {
    _offset = recursion.offset;
    _behind_arrays = recursion.behindArrays;
    _length = recursion.bound;
    // Waits until the type that it refers to is made around it.
    _waits = true;
}

CORBA_TypeCode::CORBA_TypeCode(TRXFixed fixed, ExactBool constant)
    : CORBA_TypeCode(Raw{}, tk_fixed, constant) {
    _fixed = fixed;
    _has_fixed = true;
}

CORBA_TypeCode::CORBA_TypeCode(Raw, CORBA_TCKind kind, const char* id, const char* name, bool constant)
    : CORBA_TypeCode(Raw{}, kind, constant) {
    // A kind without an id keeps the shared empty text, so `_id` is never null.
    if (id)
        _id = CORBA_string_dup(id);
    _name = CORBA_string_dup(name);
}

// Adds a reference to a part of this type.
CORBA_TypeCode* CORBA_TypeCode::hold(CORBA_TypeCode* part) {
    accept(part != nullptr);
    // A recursive sequence inside the part may wait for a type further out.
    _waits = _waits || part->_waits;
    // The parts of a constant type must live until the process ends, so they are not counted.
    return _constant ? part : _duplicate(part);
}

// Takes ownership of `name`.
void CORBA_TypeCode::addMember(char* name, CORBA_TypeCode* type) { _members.push_back({name, type}); }

CORBA_ULong CORBA_TypeCode::param_count() const {
    const auto members = static_cast<CORBA_ULong>(_members.size());
    switch (_kind) {
    case tk_objref:
    case tk_string:
    case tk_wstring: return 1;
    case tk_sequence:
    case tk_array:
    case tk_alias: return 2;
    case tk_struct:
    case tk_except: return 1 + 2 * members;
    case tk_union: return 2 + 3 * members;
    case tk_enum: return 1 + members;
    case tk_fixed: return _has_fixed ? 2 : 0;
    default: return 0;
    }
}

CORBA_Any* CORBA_TypeCode::parameter(CORBA_ULong index) const {
    within(index, param_count());
    switch (_kind) {
    case tk_string:
    case tk_wstring: return anyOf(_length);
    case tk_sequence:
    case tk_array:
        if (index == 1)
            return anyOf(_length);
        // A sequence that is still waiting has the number of levels in place of its content.
        return _content ? anyOf(_content) : anyOf(_offset);
    case tk_fixed: return index == 0 ? anyOf(_fixed.digits) : anyOf(_fixed.scale);
    default: break;
    }
    if (index == 0)
        return anyOf(static_cast<const char*>(_name));
    // An alias has its content here, a union its discriminator; the other kinds have neither.
    return _content && index == 1 ? anyOf(_content) : memberParameter(index);
}

// The parameters of each member: label, name and type, as far as the kind has them.
CORBA_Any* CORBA_TypeCode::memberParameter(CORBA_ULong index) const {
    const bool hasLabel = _kind == tk_union;
    // The name is the first parameter, followed in a union by the discriminator.
    const CORBA_ULong each = hasLabel ? 3 : _kind == tk_enum ? 1 : 2;
    const CORBA_ULong from = index - (hasLabel ? 2 : 1);
    const CORBA_ULong field = from % each;
    if (hasLabel && field == 0)
        return labelAt(from / each);
    const Member& member = _members[from / each];
    return field == (hasLabel ? 1 : 0) ? anyOf(static_cast<const char*>(member.name)) : anyOf(member.type);
}

CORBA_ULong CORBA_TypeCode::hash() const {
    CORBA_ULong hash = _kind ^ param_count();
    for (CORBA_ULong i = 0; i < param_count(); ++i)
        hash ^= CORBA_Any_var(parameter(i))->hash();
    return hash;
}

CORBA_ULong CORBA_TypeCode::hash(CORBA_ULong maximum) const {
    return maximum == 0 ? hash() : hash() % maximum;
}

const char* CORBA_TypeCode::id() const {
    require(isNamed(_kind));
    return _id;
}

const char* CORBA_TypeCode::name() const {
    require(isNamed(_kind));
    return _name;
}

CORBA_ULong CORBA_TypeCode::member_count() const {
    require(hasMembers(_kind));
    return static_cast<CORBA_ULong>(_members.size());
}

const char* CORBA_TypeCode::member_name(CORBA_ULong index) const {
    require(hasMembers(_kind));
    return _members[within(index, _members.size())].name;
}

CORBA_TypeCode* CORBA_TypeCode::member_type(CORBA_ULong index) const {
    require(hasMembers(_kind) && _kind != tk_enum);
    return _duplicate(_members[within(index, _members.size())].type);
}

CORBA_Any* CORBA_TypeCode::member_label(CORBA_ULong index) const {
    require(_kind == tk_union);
    return labelAt(within(index, _members.size()));
}

CORBA_TypeCode* CORBA_TypeCode::discriminator_type() const {
    require(_kind == tk_union);
    return _duplicate(_content);
}

CORBA_Long CORBA_TypeCode::default_index() const {
    require(_kind == tk_union);
    return _labels->default_index;
}

CORBA_ULong CORBA_TypeCode::length() const {
    require(_kind == tk_string || _kind == tk_wstring || _kind == tk_sequence || _kind == tk_array);
    return _length;
}

CORBA_TypeCode* CORBA_TypeCode::content_type() const {
    require(_kind == tk_sequence || _kind == tk_array || _kind == tk_alias);
    return _duplicate(_content);
}

CORBA_UShort CORBA_TypeCode::fixed_digits() const {
    require(_kind == tk_fixed);
    // A fixed type read from a stream has no parameters.
    within(0, param_count());
    return _fixed.digits;
}

CORBA_Short CORBA_TypeCode::fixed_scale() const {
    require(_kind == tk_fixed);
    within(1, param_count());
    return _fixed.scale;
}
