#include "marshal/vstr.h"

#include "base/string_hash.h"
#include "marshal/vexcept.h"
#include "marshal/vstream.h"

#include <cstring>
#include <cwchar>
#include <ostream>

namespace {

constexpr char emptyString[1] = {};

// The order that both kinds of text share: null before everything, then `order`.
template <class Char, class Order>
int compareText(const Char* a, const Char* b, Order order) {
    if (!a || !b)
        return a ? 1 : b ? -1 : 0;
    return order(a, b);
}

} // namespace

constinit char* const TRXNullString = const_cast<char*>(emptyString);

char* CORBA_string_dup(const char* string) {
    if (!string)
        return nullptr;
    const size_t size = std::strlen(string) + 1;
    return static_cast<char*>(std::memcpy(new char[size], string, size));
}

CORBA_ULong CORBA_string_hash(const char* string) { return string ? stringHash(string) : 0; }

int CORBA_string_compare(const char* a, const char* b) { return compareText(a, b, std::strcmp); }

CORBA_WChar* CORBA_wstring_alloc(CORBA_ULong length) { return new CORBA_WChar[size_t{length} + 1]; }

void CORBA_wstring_free(CORBA_WChar* string) { delete[] string; }

CORBA_WChar* CORBA_wstring_dup(const CORBA_WChar* string) {
    if (!string)
        return nullptr;
    const size_t size = std::wcslen(string) + 1;
    return std::wmemcpy(new CORBA_WChar[size], string, size);
}

CORBA_ULong CORBA_wstring_hash(const CORBA_WChar* string) {
    CORBA_ULong hash = 0;
    for (; string && *string; ++string)
        hash = (hash * 2) ^ static_cast<CORBA_ULong>(static_cast<signed char>(*string));
    return hash & 0x7fffffff;
}

int CORBA_wstring_compare(const CORBA_WChar* a, const CORBA_WChar* b) {
    return compareText(a, b, std::wcscmp);
}

TRXistream& operator>>(TRXistream& stream, CORBA_WString_var& string) {
    CORBA_WChar*& target = string.out();
    CORBA_ULong count = 0;
    stream >> count;
    if (!stream.has(count))
        throw CORBA_MARSHAL();
    CORBA_WString_var text(CORBA_wstring_alloc(count));
    stream.read(text.inout(), count);
    text.inout()[count] = 0; // a peer need not have sent the end
    target = text._retn();
    return stream;
}

TRXostream& operator<<(TRXostream& stream, const CORBA_WString_var& string) {
    const CORBA_WChar* text = string.in() ? string.in() : L"";
    const auto count = static_cast<CORBA_ULong>(std::wcslen(text) + 1);
    stream << count;
    stream.write(text, count);
    return stream;
}

std::ostream& operator<<(std::ostream& stream, const CORBA_String_var& string) {
    return stream << (string.in() ? string.in() : "(null)");
}

std::wostream& operator<<(std::wostream& stream, const CORBA_WString_var& string) {
    return stream << (string.in() ? string.in() : L"(null)");
}
