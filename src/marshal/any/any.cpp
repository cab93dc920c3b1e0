#include "marshal/any/any.h"

#include "marshal/any/any_access.h"
#include "marshal/reference/object_operations.h"
#include "marshal/sequence/octet_sequence.h"
#include "marshal/typecode/kinds.h"

#include <cwchar>
#include <functional>

using namespace harbolance;

namespace {

int sign(int order) { return (order > 0) - (order < 0); }

int compareOctets(const void* a, const void* b, CORBA_Long length) {
    return length > 0 && a && b ? sign(std::memcmp(a, b, static_cast<size_t>(length))) : 0;
}

// Compares two pointers to values; null comes first.
template <class T, class Compare>
int compareHeld(const void* a, const void* b, Compare compareBoth) {
    if (!a || !b)
        return (a != nullptr) - (b != nullptr);
    return compareBoth(*static_cast<const T*>(a), *static_cast<const T*>(b));
}

// Different objects are ordered by their addresses.
int compareObjects(CORBA_Object* a, CORBA_Object* b) {
    if (a == b || (a && b && ObjectOperations::installed().areEquivalent(a, b)))
        return 0;
    return std::less<>{}(a, b) ? -1 : 1;
}

char* copyOctets(const void* octets, CORBA_Long length) {
    const auto size = static_cast<CORBA_ULong>(std::max(length, CORBA_Long{0}));
    // Uses the allocator of strings, because a constructed value is freed like a string.
    char* block = CORBA_string_alloc(size);
    if (size > 0)
        std::memcpy(block, octets, size);
    return block;
}

} // namespace

uint64_t AnyAccess::basicOctets(const CORBA_Any& any) {
    uint64_t octets = 0;
    if (any._value)
        std::memcpy(&octets, any._value, basicSize(valueKind(any)));
    return octets;
}

CORBA_Any& CORBA_Any::operator=(const CORBA_Any& other) {
    if (this != &other) {
        // Copied first: when copying raises, the old value remains. `other` may also be inside this Any.
        CORBA_Any copy(other);
        swap(copy);
    }
    return *this;
}

void CORBA_Any::swap(CORBA_Any& other) noexcept {
    // A pointer to the object's own `_small` must not be swapped; it is set again afterwards.
    const bool small = _value == _small;
    const bool otherSmall = other._value == other._small;
    std::swap(_tc, other._tc);
    std::swap(_value, other._value);
    std::swap(_length, other._length);
    std::swap(_small, other._small);
    std::swap(_release, other._release);
    std::swap(_id_in_front, other._id_in_front);
    if (otherSmall)
        _value = _small;
    if (small)
        other._value = other._small;
}

void CORBA_Any::freeAll() {
    freeValue();
    CORBA_release(_tc);
}

void CORBA_Any::freeValue() {
    if (!_release || !_value || _value == _small)
        return;
    const CORBA_TCKind kind = AnyAccess::valueKind(*this);
    switch (kind) {
    case tk_any: CORBA_release(static_cast<CORBA_Any*>(_value)); break;
    case tk_TypeCode: CORBA_release(static_cast<CORBA_TypeCode*>(_value)); break;
    case tk_objref: releaseObject(static_cast<CORBA_Object*>(_value)); break;
    case tk_Principal: CORBA_release(static_cast<CORBA_OctetSequence*>(_value)); break;
    case tk_wstring: CORBA_wstring_free(static_cast<CORBA_WChar*>(_value)); break;
    default:
        // Frees only a value that the program passed in; the Any's own basic values are in `_small`.
        if (basicSize(kind) > 0)
            ::operator delete(_value);
        else
            CORBA_string_free(static_cast<char*>(_value));
    }
    _value = nullptr;
}

// Takes a new type and frees the old value.
void CORBA_Any::become(CORBA_TypeCode* type) {
    // Duplicated before the old type is freed, which may be the same type or hold it.
    CORBA_TypeCode* held = CORBA_TypeCode::_duplicate(type);
    freeAll();
    _tc = held;
    _value = nullptr;
    _length = 0;
    _release = 1;
    _id_in_front = false;
}

void CORBA_Any::adopt(CORBA_TypeCode* type, void* value, CORBA_Long length, bool idInFront) {
    become(type);
    _value = value;
    _length = length;
    _id_in_front = idInFront;
}

void CORBA_Any::replace(CORBA_TypeCode* type, void* value, CORBA_Boolean release) {
    // For a missing type any constructed kind will do: both cases are refused below, before the old value is
    // freed.
    const CORBA_TCKind kind = type ? TypeCodeAccess::valueKind(*type) : tk_struct;
    if (!type || (value && isConstructed(kind)))
        throw CORBA_BAD_PARAM();
    become(type);
    if (kind == tk_null || kind == tk_void) {
        _release = 0;
        return;
    }
    const CORBA_ULong size = basicSize(kind);
    _length = size > 0 ? static_cast<CORBA_Long>(size) : -1;
    _value = value;
    _release = release;
    if (!value)
        emptyValue(kind);
}

void CORBA_Any::emptyValue(CORBA_TCKind kind) {
    if (kind == tk_any)
        _value = new CORBA_Any;
    else if (kind == tk_TypeCode)
        // A constant type, which need not be released.
        _value = _tc_null;
    else if (basicSize(kind) > 0)
        _value = std::memset(_small, 0, sizeof _small);
    if (_value)
        _release = 1;
}

void CORBA_Any::replace(CORBA_TypeCode* type, CORBA_MarshalOutBuffer& buffer) {
    if (!type)
        throw CORBA_BAD_PARAM();
    if (isConstructed(TypeCodeAccess::valueKind(*type))) {
        takeOctets(type, buffer);
        return;
    }
    CORBA_MarshalInBuffer value(buffer.data(), buffer.offset());
    read_value(value, type);
    // The octets have been copied, so the block is freed here.
    if (!buffer.own())
        CORBA_string_free(buffer.data());
}

void CORBA_Any::takeOctets(CORBA_TypeCode* type, CORBA_MarshalOutBuffer& buffer) {
    const auto length = static_cast<CORBA_Long>(buffer.offset());
    // A buffer that owns its octets will free them, so they are copied.
    char* block = buffer.own() ? copyOctets(buffer.data(), length) : buffer.data();
    // A marshalled exception starts with its repository id.
    adopt(type, block, length, TypeCodeAccess::valueKind(*type) == tk_except);
}

// Copies into this Any, which must be empty.
void CORBA_Any::copyFrom(const CORBA_Any& other) {
    const CORBA_TCKind kind = AnyAccess::valueKind(other);
    void* value = nullptr;
    switch (kind) {
    case tk_null:
    case tk_void: break;
    case tk_any:
        value = other._value ? new CORBA_Any(*static_cast<const CORBA_Any*>(other._value)) : nullptr;
        break;
    case tk_TypeCode: value = CORBA_TypeCode::_duplicate(AnyAccess::heldType(other)); break;
    case tk_objref: value = duplicateObject(AnyAccess::heldObject(other)); break;
    case tk_Principal:
        value = CORBA_OctetSequence::_duplicate(static_cast<CORBA_OctetSequence*>(other._value));
        break;
    case tk_string: value = CORBA_string_dup(AnyAccess::text(other)); break;
    case tk_wstring: value = CORBA_wstring_dup(AnyAccess::wideText(other)); break;
    // A struct without members has a block of length 0, which is a value, not null.
    case tk_struct:
    case tk_except: value = other._value ? copyOctets(other._value, other._length) : nullptr; break;
    case tk_union:
    case tk_sequence:
    case tk_array: value = other._length > 0 ? copyOctets(other._value, other._length) : nullptr; break;
    default:
        if (basicSize(kind) == 0)
            throw CORBA_INTERNAL();
        // This Any is empty, so `_small` is unused; `adopt` does not change it.
        value = std::memcpy(_small, other._value, basicSize(kind));
    }
    adopt(other._tc, value, other._length, other._id_in_front);
}

// The length of a bounded text is its bound; the text itself may be shorter.
size_t CORBA_Any::hashedOctets() const {
    const auto length = static_cast<size_t>(_length);
    switch (AnyAccess::valueKind(*this)) {
    case tk_string: return std::min(length, std::strlen(AnyAccess::text(*this)));
    case tk_wstring: return std::min(length, std::wcslen(AnyAccess::wideText(*this)) * sizeof(CORBA_WChar));
    default: return length;
    }
}

CORBA_ULong CORBA_Any::hash() const {
    if (_length < 1 || !_value)
        return 0;
    auto hash = static_cast<CORBA_ULong>(_length);
    // A rule of this hash: the length, combined by xor with each octet as a signed number.
    const auto* octets = static_cast<const signed char*>(_value);
    for (size_t i = 0, size = hashedOctets(); i < size; ++i)
        hash ^= static_cast<CORBA_ULong>(CORBA_Long{octets[i]});
    return hash;
}

int CORBA_Any::compare(const CORBA_Any& a, const CORBA_Any& b) {
    const int order = CORBA_TypeCode::compare(a._tc, b._tc);
    return order != 0 ? order : compareValues(a, b);
}

int CORBA_Any::compareValues(const CORBA_Any& a, const CORBA_Any& b) {
    const CORBA_TCKind kind = AnyAccess::valueKind(a);
    switch (kind) {
    case tk_any:
        return compareHeld<CORBA_Any>(a._value, b._value,
                                      [](const auto& x, const auto& y) { return compare(x, y); });
    case tk_TypeCode: return CORBA_TypeCode::compare(AnyAccess::heldType(a), AnyAccess::heldType(b));
    case tk_Principal:
        return compareHeld<CORBA_OctetSequence>(
            a._value, b._value, [](const auto& x, const auto& y) { return harbolance::compare(x, y); });
    case tk_objref: return compareObjects(AnyAccess::heldObject(a), AnyAccess::heldObject(b));
    case tk_string: return CORBA_string_compare(AnyAccess::text(a), AnyAccess::text(b));
    case tk_wstring: return CORBA_wstring_compare(AnyAccess::wideText(a), AnyAccess::wideText(b));
    default: break;
    }
    // Types are equal here, so octets in the host's order can be compared directly.
    if (isConstructed(kind) && a._length != b._length)
        return a._length - b._length;
    if (isConstructed(kind) || basicSize(kind) > 0)
        return compareOctets(a._value, b._value, a._length);
    return 0;
}

void CORBA_release(CORBA_Any* any) {
    if (any && --any->_ref_count == 0)
        delete any;
}
