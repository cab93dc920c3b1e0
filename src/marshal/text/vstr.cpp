#include "marshal/text/vstr.h"

#include "base/string_hash.h"
#include "marshal/cdr/vbuf.h"
#include "marshal/exception/vexcept.h"
#include "marshal/text/vstream.h"

#include <cstring>
#include <cwchar>
#include <ostream>

using namespace harbolance;

namespace {

constexpr char emptyString[1] = {};

// Three-way comparison for both kinds of text; null comes first.
template <class Char, class Order>
int compareText(const Char* a, const Char* b, Order order) {
    if (!a || !b)
        return a ? 1 : b ? -1 : 0;
    return order(a, b);
}

// The encodings of UTF-8: the first character beyond the form, the number of continuation octets, and the
// leading bits of the first octet.
struct Utf8Form {
    char32_t limit;
    int following;
    unsigned char mark;
};
constexpr Utf8Form utf8Forms[] = {{0x80, 0, 0x00}, {0x800, 1, 0xc0}, {0x10000, 2, 0xe0}, {0x110000, 3, 0xf0}};

// Surrogates and code points beyond Unicode are written as U+FFFD.
void writeUtf8(std::ostream& stream, char32_t character) {
    const bool surrogate = character >= 0xd800 && character < 0xe000;
    if (surrogate || character >= 0x110000)
        character = 0xfffd;
    const Utf8Form* form = utf8Forms;
    // This loop ends: the last form accepts every character that passed the test above.
    while (character >= form->limit)
        ++form;
    stream.put(static_cast<char>(form->mark | (character >> (6 * form->following))));
    for (int rest = form->following - 1; rest >= 0; --rest)
        stream.put(static_cast<char>(0x80 | ((character >> (6 * rest)) & 0x3f)));
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
        // The string hash of the protocol, for which each element counts as a signed octet.
        hash = (hash * 2) ^ static_cast<CORBA_ULong>(static_cast<signed char>(*string));
    return hash & 0x7fffffff;
}

int CORBA_wstring_compare(const CORBA_WChar* a, const CORBA_WChar* b) {
    return compareText(a, b, std::wcscmp);
}

void harbolance::readOver(TRXistream& stream, char*& string) {
    // Only a buffer knows the length before it reads, and so can reuse the old memory.
    if (CORBA_MarshalInBuffer* buffer = stream.buffer()) {
        buffer->read_over(string);
        return;
    }
    char* read = nullptr;
    stream >> read;
    CORBA_string_free(std::exchange(string, read));
}

TRXistream& operator>>(TRXistream& stream, CORBA_WString_var& string) {
    // With a null target the stream allocates the string; an existing array would be filled without a size
    // check.
    CORBA_WString_var read;
    stream >> read.inout();
    string = std::move(read);
    return stream;
}

std::ostream& operator<<(std::ostream& stream, const CORBA_String_var& string) {
    return stream << (string.in() ? string.in() : "(null)");
}

std::ostream& operator<<(std::ostream& stream, const CORBA_WString_var& string) {
    for (const CORBA_WChar* next = string.in() ? string.in() : L"(null)"; *next; ++next)
        writeUtf8(stream, static_cast<char32_t>(*next));
    return stream;
}

std::wostream& operator<<(std::wostream& stream, const CORBA_WString_var& string) {
    return stream << (string.in() ? string.in() : L"(null)");
}
