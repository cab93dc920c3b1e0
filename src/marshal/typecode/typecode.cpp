#include "marshal/typecode/typecode.h"

#include "marshal/any/any.h"

#include <array>

TRX_DEFINE_USER_EXCEPTION(CORBA_TypeCode::Bounds, "CORBA::TypeCode::Bounds",
                          "IDL:omg.org/CORBA/TypeCode/Bounds:1.0")
TRX_DEFINE_USER_EXCEPTION(CORBA_TypeCode::BadKind, "CORBA::TypeCode::BadKind",
                          "IDL:omg.org/CORBA/TypeCode/BadKind:1.0")

namespace {

constexpr std::array<const char*, tcKindCount> kindNames = {
    "tk_null",      "tk_void",       "tk_short",   "tk_long",    "tk_ushort", "tk_ulong",
    "tk_float",     "tk_double",     "tk_boolean", "tk_char",    "tk_octet",  "tk_any",
    "tk_TypeCode",  "tk_Principal",  "tk_objref",  "tk_struct",  "tk_union",  "tk_enum",
    "tk_string",    "tk_sequence",   "tk_array",   "tk_alias",   "tk_except", "tk_longlong",
    "tk_ulonglong", "tk_longdouble", "tk_wchar",   "tk_wstring", "tk_fixed",
};

bool isBasic(CORBA_TCKind kind) {
    return kind <= tk_Principal || kind == tk_longlong || kind == tk_ulonglong || kind == tk_wchar;
}

bool hasName(CORBA_TCKind kind) {
    return (kind >= tk_objref && kind <= tk_enum) || kind == tk_alias || kind == tk_except;
}

void require(bool fits) {
    if (!fits)
        throw CORBA_TypeCode::BadKind();
}

void accept(bool fits) {
    if (!fits)
        throw CORBA_BAD_PARAM();
}

} // namespace

const char* tcKindName(CORBA_TCKind kind) { return kind < tcKindCount ? kindNames[kind] : nullptr; }

CORBA_TypeCode::CORBA_TypeCode(CORBA_TCKind basic, bool constant) : CORBA_TypeCode(Raw{}, basic, constant) {
    accept(isBasic(basic));
}

CORBA_TypeCode::CORBA_TypeCode(CORBA_TCKind kind, const char* id, const char* name,
                               std::span<const TRXStructMember> members, bool constant)
    : CORBA_TypeCode(Raw{}, kind, constant) {
    accept(kind == tk_struct || kind == tk_except);
    identify(id);
    reserve(1 + 2 * uint64_t{members.size()});
    addName(name);
    for (const TRXStructMember& member : members) {
        addName(member.name);
        addType(member.type);
    }
    resolveMembers();
}

CORBA_TypeCode::CORBA_TypeCode(const char* id, const char* name, CORBA_TypeCode* discriminator,
                               std::span<const TRXUnionMember> members, bool constant)
    : CORBA_TypeCode(Raw{}, tk_union, constant) {
    identify(id);
    reserve(2 + 3 * uint64_t{members.size()});
    addName(name);
    addType(discriminator);
    for (const TRXUnionMember& member : members) {
        accept(member.label != nullptr);
        if (member.label->_type()->kind() == tk_octet)
            _default_index = static_cast<CORBA_Long>(&member - members.data());
        add(new CORBA_Any(*member.label));
        addName(member.name);
        addType(member.type);
    }
    resolveMembers();
}

CORBA_TypeCode::CORBA_TypeCode(const char* id, const char* name, std::span<const char* const> enumerators,
                               bool constant)
    : CORBA_TypeCode(Raw{}, tk_enum, constant) {
    identify(id);
    reserve(1 + uint64_t{enumerators.size()});
    addName(name);
    for (const char* enumerator : enumerators)
        addName(enumerator);
}

CORBA_TypeCode::CORBA_TypeCode(const char* id, const char* name, CORBA_TypeCode* original, bool constant)
    : CORBA_TypeCode(Raw{}, tk_alias, constant) {
    identify(id);
    reserve(2);
    addName(name);
    addType(original);
    _cyclic = original->_cyclic || original->_unresolved;
}

CORBA_TypeCode::CORBA_TypeCode(const char* id, const char* name, bool constant)
    : CORBA_TypeCode(Raw{}, tk_objref, constant) {
    identify(id);
    reserve(1);
    addName(name);
}

CORBA_TypeCode::CORBA_TypeCode(CORBA_ULong bound, TRXStringWidth width, bool constant)
    : CORBA_TypeCode(Raw{}, width == TRXStringWidth::wide ? tk_wstring : tk_string, constant) {
    reserve(1);
    addNumber(bound);
}

CORBA_TypeCode::CORBA_TypeCode(CORBA_TCKind kind, CORBA_ULong length, CORBA_TypeCode* content, bool constant)
    : CORBA_TypeCode(Raw{}, kind, constant) {
    accept(kind == tk_sequence || kind == tk_array);
    reserve(2);
    addType(content);
    addNumber(length);
    _unresolved = kind == tk_sequence && content->_kind == tk_sequence && content->_unresolved;
    _cyclic = content->_cyclic || content->_unresolved;
}

CORBA_TypeCode::CORBA_TypeCode(TRXRecursion recursion, bool constant)
    : CORBA_TypeCode(Raw{}, tk_sequence, constant) {
    reserve(2);
    addNumber(recursion.offset);
    addNumber(recursion.bound);
    _unresolved = true;
}

CORBA_TypeCode::CORBA_TypeCode(TRXFixed fixed, bool constant) : CORBA_TypeCode(Raw{}, tk_fixed, constant) {
    reserve(2);
    add(new CORBA_Any);
    _params[0]->_store(_tc_ushort, fixed.digits);
    add(new CORBA_Any);
    _params[1]->_store(_tc_short, fixed.scale);
}

CORBA_TypeCode::~CORBA_TypeCode() {
    leavePending();
    releaseParameters();
    CORBA_string_free(_id);
}

void CORBA_TypeCode::releaseParameters() {
    while (_param_count > 0)
        CORBA_release(_params[--_param_count]);
    delete[] _params;
    _params = nullptr;
}

void CORBA_TypeCode::identify(const char* id) {
    if (id)
        _id = CORBA_string_dup(id);
}

void CORBA_TypeCode::reserve(uint64_t params) { _params = new CORBA_Any*[params](); }

void CORBA_TypeCode::addName(const char* name) {
    auto* param = new CORBA_Any;
    add(param);
    *param <<= name;
}

void CORBA_TypeCode::addNumber(CORBA_ULong number) {
    auto* param = new CORBA_Any;
    add(param);
    *param <<= number;
}

void CORBA_TypeCode::addType(CORBA_TypeCode* type) {
    accept(type != nullptr);
    if (_constant)
        add(new CORBA_Any(_tc_TypeCode, type, 0));
    else
        add(new CORBA_Any(_tc_TypeCode, _duplicate(type), 1));
}

const CORBA_Any& CORBA_TypeCode::checked(uint64_t index) const {
    if (index >= _param_count)
        throw Bounds();
    return *_params[index];
}

CORBA_Any* CORBA_TypeCode::handOut(const CORBA_Any& param) const {
    return _constant ? new CORBA_Any(param) : CORBA_Any::_duplicate(const_cast<CORBA_Any*>(&param));
}

// The TypeCode that a parameter holds, null when it holds something else or has not been read yet.
CORBA_TypeCode* CORBA_TypeCode::typeAt(CORBA_ULong index) const {
    if (index >= _param_count)
        return nullptr;
    const CORBA_Any& param = *_params[index];
    return param._type()->kind() == tk_TypeCode ? param._held_type() : nullptr;
}

// Where the members begin among the parameters, and how many each of them takes.
CORBA_ULong CORBA_TypeCode::membersFrom() const { return _kind == tk_union ? 2 : 1; }
CORBA_ULong CORBA_TypeCode::memberStride() const { return _kind == tk_union ? 3 : _kind == tk_enum ? 1 : 2; }

CORBA_Any* CORBA_TypeCode::parameter(CORBA_ULong index) const { return handOut(checked(index)); }

const char* CORBA_TypeCode::id() const {
    require(hasName(_kind));
    return _id;
}

const char* CORBA_TypeCode::name() const {
    require(hasName(_kind));
    return checked(0)._text();
}

CORBA_ULong CORBA_TypeCode::member_count() const {
    require(_kind == tk_struct || _kind == tk_except || _kind == tk_union || _kind == tk_enum);
    return _members();
}

const char* CORBA_TypeCode::member_name(CORBA_ULong index) const {
    require(_kind == tk_struct || _kind == tk_except || _kind == tk_union || _kind == tk_enum);
    const CORBA_ULong label = _kind == tk_union ? 1 : 0;
    return checked(membersFrom() + label + uint64_t{memberStride()} * index)._text();
}

CORBA_TypeCode* CORBA_TypeCode::member_type(CORBA_ULong index) const {
    require(_kind == tk_struct || _kind == tk_except || _kind == tk_union);
    if (index >= _members())
        throw Bounds();
    return _duplicate(const_cast<CORBA_TypeCode*>(_member(index)));
}

CORBA_Any* CORBA_TypeCode::member_label(CORBA_ULong index) const {
    require(_kind == tk_union);
    return handOut(checked(2 + 3 * uint64_t{index}));
}

CORBA_TypeCode* CORBA_TypeCode::discriminator_type() const {
    require(_kind == tk_union);
    return _duplicate(typeAt(1));
}

CORBA_Long CORBA_TypeCode::default_index() const {
    require(_kind == tk_union);
    return _default_index;
}

CORBA_ULong CORBA_TypeCode::length() const {
    require(_kind == tk_string || _kind == tk_wstring || _kind == tk_sequence || _kind == tk_array);
    return checked(_kind == tk_sequence || _kind == tk_array)._as<CORBA_ULong>();
}

CORBA_TypeCode* CORBA_TypeCode::content_type() const {
    require(_kind == tk_sequence || _kind == tk_array || _kind == tk_alias);
    return _duplicate(const_cast<CORBA_TypeCode*>(_content()));
}

CORBA_UShort CORBA_TypeCode::fixed_digits() const {
    require(_kind == tk_fixed);
    return checked(0)._as<CORBA_UShort>();
}

CORBA_Short CORBA_TypeCode::fixed_scale() const {
    require(_kind == tk_fixed);
    return checked(1)._as<CORBA_Short>();
}

const CORBA_TypeCode* CORBA_TypeCode::_unaliased() const {
    const CORBA_TypeCode* type = this;
    while (type->_kind == tk_alias && type->_content())
        type = type->_content();
    return type;
}

const CORBA_TypeCode* CORBA_TypeCode::_content() const { return typeAt(_kind == tk_alias ? 1 : 0); }

const CORBA_TypeCode* CORBA_TypeCode::_member(CORBA_ULong index) const {
    return typeAt(membersFrom() + memberStride() * (index + 1) - 1);
}

const CORBA_TypeCode* CORBA_TypeCode::_discriminator() const { return typeAt(1); }

CORBA_ULong CORBA_TypeCode::_members() const {
    return _param_count < membersFrom() ? 0 : (_param_count - membersFrom()) / memberStride();
}
