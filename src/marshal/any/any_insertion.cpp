#include "marshal/any/any.h"
#include "marshal/any/any_access.h"
#include "marshal/reference/object_operations.h"
#include "marshal/sequence/octet_sequence.h"
#include "marshal/sequence/string_sequence.h"

#include <cwchar>
#include <limits>

using namespace harbolance;

namespace {

bool isOf(const CORBA_Any& any, CORBA_TCKind kind) { return AnyAccess::type(any)->kind() == kind; }

template <class T>
bool extract(const CORBA_Any& any, CORBA_TCKind kind, T& value) {
    // The Any's own kind is tested: for extraction an alias is a different type.
    if (!isOf(any, kind))
        return false;
    value = AnyAccess::as<T>(any);
    return true;
}

template <class Wire, class T>
Wire narrowed(T value) {
    if (value < std::numeric_limits<Wire>::min() || value > std::numeric_limits<Wire>::max())
        throw CORBA_BAD_PARAM();
    return static_cast<Wire>(value);
}

template <class Wire, class T>
bool extractWidened(const CORBA_Any& any, T& value) {
    Wire wire{};
    if (!(any >>= wire))
        return false;
    value = wire;
    return true;
}

// Whether a text of this kind can be extracted with that bound.
bool mayTake(const CORBA_Any& any, CORBA_TCKind kind, CORBA_ULong bound) {
    return isOf(any, kind) && (bound == 0 || int64_t{bound} <= any.length());
}

// A copy of at most `bound` characters, in memory for `bound` characters.
template <class Text, class Char>
Char* firstOf(const Char* text, CORBA_ULong bound) {
    // Allocated for the whole bound, even for a shorter text, because the Any's length is the bound.
    Char* copy = Text::alloc(bound);
    CORBA_ULong i = 0;
    for (; text && i < bound && text[i] != 0; ++i)
        copy[i] = text[i];
    std::fill(copy + i, copy + bound + 1, Char{});
    return copy;
}

CORBA_Long lengthWithEnd(const char* text) {
    return text ? static_cast<CORBA_Long>(std::strlen(text) + 1) : 0;
}
CORBA_Long lengthWithEnd(const CORBA_WChar* text) {
    return text ? static_cast<CORBA_Long>(std::wcslen(text) + 1) : 0;
}

// `length` is the length to be stored for a bounded text; an unbounded text uses its own length.
template <class Text, class Bounded>
void insertText(CORBA_Any& any, CORBA_TypeCode* type, const Bounded& text, CORBA_Long length) {
    if (text.bound == 0)
        length = lengthWithEnd(text.value);
    if (text.nocopy)
        AnyAccess::borrow(any, type, text.value, length);
    else if (text.bound == 0)
        AnyAccess::adopt(any, type, Text::dup(text.value), length);
    else
        AnyAccess::adopt(any, type, firstOf<Text>(text.value, text.bound), length);
}

// Never destroyed, because Anys of static lifetime may hold it until the process ends.
CORBA_TypeCode* newAlias(const char* id, const char* name, CORBA_TypeCode* element) {
    return new CORBA_TypeCode(id, name, new CORBA_TypeCode(tk_sequence, 0, element, true), true);
}

} // namespace

void operator<<=(CORBA_Any& any, CORBA_Short value) { AnyAccess::store(any, _tc_short, value); }
void operator<<=(CORBA_Any& any, CORBA_UShort value) { AnyAccess::store(any, _tc_ushort, value); }
void operator<<=(CORBA_Any& any, CORBA_Long value) { AnyAccess::store(any, _tc_long, value); }
void operator<<=(CORBA_Any& any, CORBA_ULong value) { AnyAccess::store(any, _tc_ulong, value); }
void operator<<=(CORBA_Any& any, long value) { any <<= narrowed<CORBA_Long>(value); }
void operator<<=(CORBA_Any& any, unsigned long value) { any <<= narrowed<CORBA_ULong>(value); }
void operator<<=(CORBA_Any& any, CORBA_LongLong value) { AnyAccess::store(any, _tc_longlong, value); }
void operator<<=(CORBA_Any& any, CORBA_ULongLong value) { AnyAccess::store(any, _tc_ulonglong, value); }
void operator<<=(CORBA_Any& any, CORBA_Float value) { AnyAccess::store(any, _tc_float, value); }
void operator<<=(CORBA_Any& any, CORBA_Double value) { AnyAccess::store(any, _tc_double, value); }
void operator<<=(CORBA_Any& any, CORBA_Any::from_boolean value) {
    AnyAccess::store(any, _tc_boolean, value.value);
}
void operator<<=(CORBA_Any& any, CORBA_Any::from_octet value) {
    AnyAccess::store(any, _tc_octet, value.value);
}
void operator<<=(CORBA_Any& any, CORBA_Any::from_char value) { AnyAccess::store(any, _tc_char, value.value); }
void operator<<=(CORBA_Any& any, CORBA_WChar value) { AnyAccess::store(any, _tc_wchar, value); }

void operator<<=(CORBA_Any& any, const char* text) {
    AnyAccess::adopt(any, _tc_string, CORBA_string_dup(text), lengthWithEnd(text));
}

void operator<<=(CORBA_Any& any, CORBA_Any::from_string text) {
    insertText<TRXNarrowText>(any, _tc_string, text, static_cast<CORBA_Long>(text.bound));
}

void operator<<=(CORBA_Any& any, CORBA_Any::from_wstring text) {
    const auto bound = static_cast<CORBA_Long>(text.bound);
    // The stored length of a wide text includes its final zero, that of a narrow one does not.
    insertText<TRXWideText>(any, _tc_wstring, text, text.nocopy ? bound : bound + 1);
}

void operator<<=(CORBA_Any& any, const CORBA_Any& value) {
    // Copied before the old value is freed, since `value` may be inside it.
    AnyAccess::adopt(any, _tc_any, new CORBA_Any(value), 0);
}

void operator<<=(CORBA_Any& any, CORBA_TypeCode* type) {
    any.replace(_tc_TypeCode, CORBA_TypeCode::_duplicate(type), 1);
}

void operator<<=(CORBA_Any& any, CORBA_Object* object) {
    CORBA_TypeCode_var type = _tc_Object;
    if (object) {
        const ObjectOperations& operations = ObjectOperations::installed();
        const char* scoped = operations.typeName(object);
        // The TypeCode's name is the part after the last "::" of the scoped name.
        const char* colon = std::strrchr(scoped, ':');
        type = new CORBA_TypeCode(operations.interfaceName(object), colon ? colon + 1 : scoped, false);
    }
    AnyAccess::adopt(any, type, duplicateObject(object), 0);
}

void operator<<=(CORBA_Any& any, const CORBA_OctetSequence& octets) {
    insertMarshalled(any, TRXOctetSequenceType(), octets);
}

void operator<<=(CORBA_Any& any, const CORBA_StringSequence& strings) {
    insertMarshalled(any, TRXStringSequenceType(), strings);
}

bool operator>>=(const CORBA_Any& any, CORBA_Short& value) { return extract(any, tk_short, value); }
bool operator>>=(const CORBA_Any& any, CORBA_UShort& value) { return extract(any, tk_ushort, value); }
bool operator>>=(const CORBA_Any& any, CORBA_Long& value) { return extract(any, tk_long, value); }
bool operator>>=(const CORBA_Any& any, CORBA_ULong& value) { return extract(any, tk_ulong, value); }
bool operator>>=(const CORBA_Any& any, long& value) { return extractWidened<CORBA_Long>(any, value); }
bool operator>>=(const CORBA_Any& any, unsigned long& value) {
    return extractWidened<CORBA_ULong>(any, value);
}
bool operator>>=(const CORBA_Any& any, CORBA_LongLong& value) { return extract(any, tk_longlong, value); }
bool operator>>=(const CORBA_Any& any, CORBA_ULongLong& value) { return extract(any, tk_ulonglong, value); }
bool operator>>=(const CORBA_Any& any, CORBA_Float& value) { return extract(any, tk_float, value); }
bool operator>>=(const CORBA_Any& any, CORBA_Double& value) { return extract(any, tk_double, value); }
bool operator>>=(const CORBA_Any& any, CORBA_Any::to_boolean value) {
    return extract(any, tk_boolean, value.value);
}
bool operator>>=(const CORBA_Any& any, CORBA_Any::to_octet value) {
    return extract(any, tk_octet, value.value);
}
bool operator>>=(const CORBA_Any& any, CORBA_Any::to_char value) {
    return extract(any, tk_char, value.value);
}
bool operator>>=(const CORBA_Any& any, CORBA_Any::to_wchar value) {
    return extract(any, tk_wchar, value.value);
}

bool operator>>=(const CORBA_Any& any, char*& text) {
    if (!isOf(any, tk_string))
        return false;
    text = CORBA_string_dup(AnyAccess::text(any));
    return true;
}

bool operator>>=(const CORBA_Any& any, CORBA_Any::to_string text) {
    if (!mayTake(any, tk_string, text.bound))
        return false;
    text.value = const_cast<char*>(AnyAccess::text(any));
    return true;
}

bool operator>>=(const CORBA_Any& any, CORBA_Any::to_wstring text) {
    if (!mayTake(any, tk_wstring, text.bound))
        return false;
    text.value = const_cast<CORBA_WChar*>(AnyAccess::wideText(any));
    return true;
}

bool operator>>=(const CORBA_Any& any, CORBA_Any& value) {
    if (!isOf(any, tk_any))
        return false;
    // Extracted through a copy, because the target may be the Any that holds it.
    value = CORBA_Any(*static_cast<const CORBA_Any*>(AnyAccess::value(any)));
    return true;
}

bool operator>>=(const CORBA_Any& any, CORBA_TypeCode*& type) {
    if (!isOf(any, tk_TypeCode))
        return false;
    type = CORBA_TypeCode::_duplicate(AnyAccess::heldType(any));
    return true;
}

bool operator>>=(const CORBA_Any& any, CORBA_Object*& object) {
    if (!isOf(any, tk_objref))
        return false;
    object = duplicateObject(AnyAccess::heldObject(any));
    return true;
}

bool operator>>=(const CORBA_Any& any, CORBA_OctetSequence& octets) {
    return extractMarshalled(any, TRXOctetSequenceType(), octets);
}

bool operator>>=(const CORBA_Any& any, CORBA_StringSequence& strings) {
    return extractMarshalled(any, TRXStringSequenceType(), strings);
}

CORBA_TypeCode* TRXOctetSequenceType() {
    static CORBA_TypeCode& type = *newAlias("IDL:CORBA_OctetSequence:1.0", "CORBA_OctetSequence", _tc_octet);
    return &type;
}

CORBA_TypeCode* TRXStringSequenceType() {
    static CORBA_TypeCode& type =
        *newAlias("IDL:CORBA_StringSequence:1.0", "CORBA_StringSequence", _tc_string);
    return &type;
}

bool harbolance::extractMembers(const CORBA_Any& any, CORBA_TypeCode* type, MemberReader read, void* value) {
    // The types are compared first: the octets can only be decoded with the type they were encoded with.
    if (!type->equal(AnyAccess::type(any)) || !AnyAccess::value(any))
        return false;
    // Uses the nesting limit for own values: the octets were accepted when they came in.
    const ReadingOwnOctets own;
    CORBA_MarshalInBuffer octets = AnyAccess::octets(any);
    read(octets, value);
    return true;
}

bool harbolance::extractMembers(const CORBA_Any& any, CORBA_TypeCode* type, const char* exceptionId,
                                MemberReader read, void* value) {
    if (!type->equal(AnyAccess::type(any)) || !AnyAccess::value(any))
        return false;
    const ReadingOwnOctets own;
    CORBA_MarshalInBuffer octets = AnyAccess::octets(any);
    // An exception read from a stream by its type has no repository id before its members; then the id of the
    // type is used.
    const char* id = AnyAccess::carriesId(any)
                         ? octets.string_in_place()
                         : TypeCodeAccess::id(TypeCodeAccess::unaliased(*AnyAccess::type(any)));
    if (CORBA_string_compare(id, exceptionId) != 0)
        return false;
    read(octets, value);
    return true;
}
