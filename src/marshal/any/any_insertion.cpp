#include "marshal/any/any.h"
#include "marshal/reference/object_operations.h"
#include "marshal/sequence/octet_sequence.h"

#include <cwchar>

using namespace harbolance;

namespace {

template <class T>
bool extract(const CORBA_Any& any, CORBA_TCKind kind, T& value) {
    if (any._type()->kind() != kind)
        return false;
    value = any._as<T>();
    return true;
}

// Whether a text may be taken out that is to have `bound` elements.
bool mayTake(const CORBA_Any& any, CORBA_TCKind kind, CORBA_ULong bound) {
    return any._type()->kind() == kind && (bound == 0 || int64_t{bound} <= any.length());
}

CORBA_WChar* firstOf(const CORBA_WChar* text, CORBA_ULong bound) {
    CORBA_WChar* copy = CORBA_wstring_alloc(bound);
    std::wmemset(copy, 0, size_t{bound} + 1);
    for (CORBA_ULong i = 0; text && i < bound && text[i] != 0; ++i)
        copy[i] = text[i];
    return copy;
}

char* firstOf(const char* text, CORBA_ULong bound) {
    char* copy = CORBA_string_alloc(bound);
    std::memset(copy, 0, size_t{bound} + 1);
    for (CORBA_ULong i = 0; text && i < bound && text[i] != '\0'; ++i)
        copy[i] = text[i];
    return copy;
}

} // namespace

void operator<<=(CORBA_Any& any, CORBA_Short value) { any._store(_tc_short, value); }
void operator<<=(CORBA_Any& any, CORBA_UShort value) { any._store(_tc_ushort, value); }
void operator<<=(CORBA_Any& any, CORBA_Long value) { any._store(_tc_long, value); }
void operator<<=(CORBA_Any& any, CORBA_ULong value) { any._store(_tc_ulong, value); }
void operator<<=(CORBA_Any& any, CORBA_LongLong value) { any._store(_tc_longlong, value); }
void operator<<=(CORBA_Any& any, CORBA_ULongLong value) { any._store(_tc_ulonglong, value); }
void operator<<=(CORBA_Any& any, CORBA_Float value) { any._store(_tc_float, value); }
void operator<<=(CORBA_Any& any, CORBA_Double value) { any._store(_tc_double, value); }
void operator<<=(CORBA_Any& any, CORBA_Any::from_boolean value) { any._store(_tc_boolean, value.value); }
void operator<<=(CORBA_Any& any, CORBA_Any::from_octet value) { any._store(_tc_octet, value.value); }
void operator<<=(CORBA_Any& any, CORBA_Any::from_char value) { any._store(_tc_char, value.value); }
void operator<<=(CORBA_Any& any, CORBA_WChar value) { any._store(_tc_wchar, value); }

void operator<<=(CORBA_Any& any, const char* text) {
    char* copy = CORBA_string_dup(text);
    any._adopt(_tc_string, copy, copy ? static_cast<CORBA_Long>(std::strlen(copy) + 1) : 0);
}

void operator<<=(CORBA_Any& any, CORBA_Any::from_string text) {
    if (text.nocopy)
        any._borrow(_tc_string, text.value, static_cast<CORBA_Long>(text.bound));
    else
        any._adopt(_tc_string, firstOf(text.value, text.bound), static_cast<CORBA_Long>(text.bound));
}

void operator<<=(CORBA_Any& any, CORBA_Any::from_wstring text) {
    if (text.nocopy)
        any._borrow(_tc_wstring, text.value, static_cast<CORBA_Long>(text.bound));
    else
        any._adopt(_tc_wstring, firstOf(text.value, text.bound), static_cast<CORBA_Long>(text.bound) + 1);
}

void operator<<=(CORBA_Any& any, const CORBA_Any& value) { any._adopt(_tc_any, new CORBA_Any(value), 0); }

void operator<<=(CORBA_Any& any, CORBA_TypeCode* type) {
    any.replace(_tc_TypeCode, CORBA_TypeCode::_duplicate(type), 1);
}

void operator<<=(CORBA_Any& any, CORBA_Object* object) {
    CORBA_TypeCode_var type = _tc_Object;
    if (object) {
        const ObjectOperations& operations = ObjectOperations::installed();
        const char* scoped = operations.typeName(object);
        const char* colon = std::strrchr(scoped, ':');
        type = new CORBA_TypeCode(operations.interfaceName(object), colon ? colon + 1 : scoped, false);
    }
    any._adopt(type, duplicateObject(object), 0);
}

bool operator>>=(const CORBA_Any& any, CORBA_Short& value) { return extract(any, tk_short, value); }
bool operator>>=(const CORBA_Any& any, CORBA_UShort& value) { return extract(any, tk_ushort, value); }
bool operator>>=(const CORBA_Any& any, CORBA_Long& value) { return extract(any, tk_long, value); }
bool operator>>=(const CORBA_Any& any, CORBA_ULong& value) { return extract(any, tk_ulong, value); }
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
    if (any._type()->kind() != tk_string)
        return false;
    text = CORBA_string_dup(any._text());
    return true;
}

bool operator>>=(const CORBA_Any& any, CORBA_Any::to_string text) {
    if (!mayTake(any, tk_string, text.bound))
        return false;
    text.value = static_cast<char*>(const_cast<void*>(any._representation()));
    return true;
}

bool operator>>=(const CORBA_Any& any, CORBA_Any::to_wstring text) {
    if (!mayTake(any, tk_wstring, text.bound))
        return false;
    text.value = static_cast<CORBA_WChar*>(const_cast<void*>(any._representation()));
    return true;
}

bool operator>>=(const CORBA_Any& any, CORBA_Any& value) {
    if (any._type()->kind() != tk_any)
        return false;
    value = CORBA_Any(*static_cast<const CORBA_Any*>(any._representation()));
    return true;
}

bool operator>>=(const CORBA_Any& any, CORBA_TypeCode*& type) {
    if (any._type()->kind() != tk_TypeCode)
        return false;
    type = CORBA_TypeCode::_duplicate(any._held_type());
    return true;
}

bool operator>>=(const CORBA_Any& any, CORBA_Object*& object) {
    if (any._type()->kind() != tk_objref)
        return false;
    object = duplicateObject(static_cast<CORBA_Object*>(const_cast<void*>(any._representation())));
    return true;
}

// Never destroyed: Anys of static lifetime may hold it to the end.
CORBA_TypeCode* TRXOctetSequenceType() {
    static CORBA_TypeCode& sequence = *new CORBA_TypeCode(tk_sequence, 0, _tc_octet, true);
    static CORBA_TypeCode& type =
        *new CORBA_TypeCode("IDL:CORBA_OctetSequence:1.0", "CORBA_OctetSequence", &sequence, true);
    return &type;
}

void operator<<=(CORBA_Any& any, const CORBA_OctetSequence& octets) {
    insertMarshalled(any, TRXOctetSequenceType(), octets);
}

bool operator>>=(const CORBA_Any& any, CORBA_OctetSequence& octets) {
    return extractMarshalled(any, TRXOctetSequenceType(), octets);
}
