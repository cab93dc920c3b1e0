#include "marshal/text/vstream.h"

#include "base/quoted_text.h"
#include "base/standard_streams.h"
#include "marshal/exception/vexcept.h"
#include "marshal/text/vstr.h"
#include "marshal/typecode/typecode_table.h"

#include <cstring>
#include <cwchar>
#include <istream>
#include <ostream>
#include <string>
#include <type_traits>

using namespace harbolance;

namespace {

// Reads a decimal number, whatever base the stream is set to; 0 for bad text or a number out of range.
template <class T>
void readDecimal(std::istream& stream, T& value) {
    // The caller may have set another base on the stream.
    const auto flags = stream.flags(std::ios::dec | std::ios::skipws);
    if (!(stream >> value))
        value = 0;
    stream.flags(flags);
}

// Reads one quoted text of at most `limit` octets. On failure prints a message on the error stream.
bool readText(std::istream& stream, std::string& text, size_t limit) {
    switch (readQuoted(stream, text, limit)) {
    case QuotedText::good: return true;
    case QuotedText::notQuoted:
        standardError() << "TRXistream::getCString: Error reading Object "
                        << "from  stream. Make sure your 'write' "
                        << "function and constructor from stream are "
                        << "correct\n";
        return false;
    case QuotedText::tooLong: standardError() << "TRXistream::getCString: String Overflow\n"; return false;
    case QuotedText::missing:
    case QuotedText::unfinished:
    case QuotedText::badEscape: break;
    }
    standardError() << "TRXistream::getCString: Unexpected EOF\n";
    return false;
}

// Consumes the separator after a value. The end of the text is no error here.
void skipOne(std::istream& stream) {
    // Peeked first, because reading at the end would set the stream to failed.
    if (stream.good() && stream.peek() != EOF)
        stream.get();
}

bool takesPlainStrings(const std::ostream* stream) {
    return stream == &standardOutput() || stream == &standardError();
}

} // namespace

TRXostream::~TRXostream() { delete _typecodes; }

StreamTypeCodes& TRXostream::typecodes() {
    // Made on first use, because most streams have no TypeCodes.
    if (!_typecodes)
        _typecodes = new StreamTypeCodes;
    return *_typecodes;
}

[[gnu::hot]] void TRXostream::reset_typecodes() {
    if (_typecodes)
        _typecodes->reset();
}

CORBA_Long TRXostream::position() const { return _typecodes ? _typecodes->stored : 0; }

CORBA_Long TRXostream::depth() const { return _typecodes ? _typecodes->depth : 0; }

void TRXostream::depth(CORBA_Long depth) { typecodes().depth = depth; }

void TRXostream::store_typecode(CORBA_TypeCode* object) { typecodes().store(position(), object); }

CORBA_Long TRXostream::lookup_typecode(const CORBA_TypeCode* object) const {
    if (!_typecodes)
        throw CORBA_OBJECT_NOT_EXIST();
    return _typecodes->positionOf(object);
}

void TRXostream::cleanup(Cleanup function) { typecodes().cleanup = function; }

TRXostream::Cleanup TRXostream::cleanup() const { return _typecodes ? _typecodes->cleanup : nullptr; }

template <class T>
TRXostream& TRXostream::print(T value) {
    if constexpr (std::is_integral_v<T>)
        *_strm << std::to_string(value) << ' '; // decimal, whatever the stream is set to
    else
        *_strm << value << ' ';
    return *this;
}

template <class T>
TRXostream& TRXostream::printAll(const T* array, CORBA_ULong count) {
    for (CORBA_ULong i = 0; i < count; ++i)
        *this << array[i];
    return *this;
}

TRXostream& TRXostream::operator<<(const char* string) {
    if (takesPlainStrings(_strm)) {
        if (string)
            *_strm << string;
        return *this;
    }
    // The format: the length with the NUL, so that 0 is null and 1 is the empty text; these two have no
    // quotes.
    const size_t size = string ? std::strlen(string) + 1 : 0;
    *_strm << std::to_string(size);
    if (size < 2)
        *_strm << ' ';
    else
        writeQuoted(*_strm, {string, size - 1});
    return *this;
}

TRXostream& TRXostream::operator<<(char value) { return print(static_cast<int>(value)); }
TRXostream& TRXostream::operator<<(unsigned char value) { return print(static_cast<unsigned int>(value)); }
TRXostream& TRXostream::operator<<(short value) { return print(value); }
TRXostream& TRXostream::operator<<(unsigned short value) { return print(value); }
TRXostream& TRXostream::operator<<(int value) { return print(value); }
TRXostream& TRXostream::operator<<(unsigned int value) { return print(value); }
TRXostream& TRXostream::operator<<(long value) { return print(value); }
TRXostream& TRXostream::operator<<(unsigned long value) { return print(value); }
TRXostream& TRXostream::operator<<(float value) { return print(static_cast<double>(value)); }
TRXostream& TRXostream::operator<<(double value) { return print(value); }
TRXostream& TRXostream::operator<<(long long value) { return print(value); }
TRXostream& TRXostream::operator<<(unsigned long long value) { return print(value); }
TRXostream& TRXostream::operator<<(wchar_t value) { return print(static_cast<int>(value)); }

TRXostream& TRXostream::operator<<(const wchar_t* string) {
    const wchar_t* text = string ? string : L"";
    const auto count = static_cast<CORBA_ULong>(std::wcslen(text) + 1);
    // The count includes the final zero, which is written as the last element.
    *this << count;
    return write(text, count);
}

TRXostream& TRXostream::put(char octet) {
    _strm->put(octet);
    return *this;
}

TRXostream& TRXostream::write_raw(const char* octets, CORBA_ULong count) {
    _strm->write(octets, static_cast<std::streamsize>(count));
    return *this;
}

TRXostream& TRXostream::write(const unsigned char* array, CORBA_ULong count) {
    return printAll(array, count);
}
TRXostream& TRXostream::write(const wchar_t* array, CORBA_ULong count) { return printAll(array, count); }
TRXostream& TRXostream::write(const short* array, CORBA_ULong count) { return printAll(array, count); }
TRXostream& TRXostream::write(const unsigned short* array, CORBA_ULong count) {
    return printAll(array, count);
}
TRXostream& TRXostream::write(const int* array, CORBA_ULong count) { return printAll(array, count); }
TRXostream& TRXostream::write(const unsigned int* array, CORBA_ULong count) { return printAll(array, count); }
TRXostream& TRXostream::write(const long* array, CORBA_ULong count) { return printAll(array, count); }
TRXostream& TRXostream::write(const unsigned long* array, CORBA_ULong count) {
    return printAll(array, count);
}
TRXostream& TRXostream::write(const float* array, CORBA_ULong count) { return printAll(array, count); }
TRXostream& TRXostream::write(const double* array, CORBA_ULong count) { return printAll(array, count); }
TRXostream& TRXostream::putCString(const char* string) {
    if (takesPlainStrings(_strm))
        return *this << string;
    writeQuoted(*_strm, string ? string : "");
    return *this;
}
TRXostream& TRXostream::write(const long long* array, CORBA_ULong count) { return printAll(array, count); }
TRXostream& TRXostream::write(const unsigned long long* array, CORBA_ULong count) {
    return printAll(array, count);
}

TRXostream& TRXostream::operator<<(std::ostream& (*manipulator)(std::ostream&)) {
    // A marshal buffer has no standard stream for the manipulator.
    if (!_strm)
        return *this << "\n";
    *_strm << manipulator;
    return *this;
}

[[gnu::hot]] TRXistream::~TRXistream() { delete _typecodes; }

StreamTypeCodes& TRXistream::typecodes() {
    if (!_typecodes)
        _typecodes = new StreamTypeCodes;
    return *_typecodes;
}

void TRXistream::reset_typecodes() {
    if (_typecodes)
        _typecodes->reset();
}

CORBA_Long TRXistream::position() const { return _typecodes ? _typecodes->stored : 0; }

CORBA_Long TRXistream::depth() const { return _typecodes ? _typecodes->depth : 0; }

void TRXistream::depth(CORBA_Long depth) { typecodes().depth = depth; }

void TRXistream::store_typecode(CORBA_Long position, CORBA_TypeCode* object) {
    typecodes().store(position, object);
}

CORBA_TypeCode* TRXistream::lookup_typecode(CORBA_Long position) const {
    if (!_typecodes)
        throw CORBA_OBJECT_NOT_EXIST();
    return _typecodes->objectAt(position);
}

void TRXistream::cleanup(Cleanup function) { typecodes().cleanup = function; }

TRXistream::Cleanup TRXistream::cleanup() const { return _typecodes ? _typecodes->cleanup : nullptr; }

template <class T>
TRXistream& TRXistream::scan(T& value) {
    readDecimal(*_strm, value);
    skipOne(*_strm);
    return *this;
}

template <class T>
TRXistream& TRXistream::scanAll(T* array, CORBA_ULong count) {
    for (CORBA_ULong i = 0; i < count; ++i)
        *this >> array[i];
    return *this;
}

TRXistream& TRXistream::operator>>(char*& string) {
    string = nullptr;
    CORBA_ULong size = 0;
    readDecimal(*_strm, size);
    if (size < 2) {
        skipOne(*_strm);
        if (size == 1)
            string = CORBA_string_dup("");
        return *this;
    }
    std::string text;
    // The length only limits what is read; memory is allocated as characters arrive.
    if (!readText(*_strm, text, size - 1))
        _strm->setstate(std::ios::failbit);
    skipOne(*_strm);
    // An empty text, not null, because callers rely on a string of this length.
    string = CORBA_string_dup(_strm->fail() ? "" : text.c_str());
    return *this;
}

TRXistream& TRXistream::operator>>(char& value) {
    // Read as a number: an extraction into a character would read one character of the text.
    int number = 0;
    scan(number);
    value = static_cast<char>(number);
    return *this;
}

TRXistream& TRXistream::operator>>(unsigned char& value) {
    unsigned int number = 0;
    scan(number);
    value = static_cast<unsigned char>(number);
    return *this;
}

TRXistream& TRXistream::operator>>(short& value) { return scan(value); }
TRXistream& TRXistream::operator>>(unsigned short& value) { return scan(value); }
TRXistream& TRXistream::operator>>(int& value) { return scan(value); }
TRXistream& TRXistream::operator>>(unsigned int& value) { return scan(value); }
TRXistream& TRXistream::operator>>(long& value) { return scan(value); }
TRXistream& TRXistream::operator>>(unsigned long& value) { return scan(value); }
TRXistream& TRXistream::operator>>(float& value) { return scan(value); }
TRXistream& TRXistream::operator>>(double& value) { return scan(value); }
TRXistream& TRXistream::operator>>(long long& value) { return scan(value); }
TRXistream& TRXistream::operator>>(unsigned long long& value) { return scan(value); }

TRXistream& TRXistream::operator>>(wchar_t& value) {
    int number = 0;
    scan(number);
    value = static_cast<wchar_t>(number);
    return *this;
}

// The text form cannot check the count, so the string grows as elements arrive.
TRXistream& TRXistream::operator>>(wchar_t*& string) {
    CORBA_ULong count = 0;
    *this >> count;
    if (string) {
        return read(string, count);
    }
    std::wstring text;
    for (CORBA_ULong i = 0; i < count && *_strm; ++i) {
        wchar_t element = 0;
        *this >> element;
        text.push_back(element);
    }
    string = CORBA_wstring_dup(text.c_str());
    return *this;
}

char TRXistream::get() { return static_cast<char>(_strm->get()); }

TRXistream& TRXistream::get(char& octet) {
    _strm->get(octet);
    return *this;
}

TRXistream& TRXistream::get(unsigned char& octet) {
    octet = static_cast<unsigned char>(_strm->get());
    return *this;
}

TRXistream& TRXistream::read_raw(char* octets, CORBA_ULong count) {
    _strm->read(octets, static_cast<std::streamsize>(count));
    // When the text is too short the rest is zero, as at the end of a buffer.
    const auto got = static_cast<size_t>(_strm->gcount());
    std::memset(octets + got, 0, count - got);
    return *this;
}

TRXistream& TRXistream::read(unsigned char* array, CORBA_ULong count) { return scanAll(array, count); }
TRXistream& TRXistream::read(wchar_t* array, CORBA_ULong count) { return scanAll(array, count); }
TRXistream& TRXistream::read(short* array, CORBA_ULong count) { return scanAll(array, count); }
TRXistream& TRXistream::read(unsigned short* array, CORBA_ULong count) { return scanAll(array, count); }
TRXistream& TRXistream::read(int* array, CORBA_ULong count) { return scanAll(array, count); }
TRXistream& TRXistream::read(unsigned int* array, CORBA_ULong count) { return scanAll(array, count); }
TRXistream& TRXistream::read(long* array, CORBA_ULong count) { return scanAll(array, count); }
TRXistream& TRXistream::read(unsigned long* array, CORBA_ULong count) { return scanAll(array, count); }
TRXistream& TRXistream::read(float* array, CORBA_ULong count) { return scanAll(array, count); }
TRXistream& TRXistream::read(double* array, CORBA_ULong count) { return scanAll(array, count); }

TRXistream& TRXistream::getCString(char* buffer, CORBA_ULong size) {
    std::string text;
    // One octet of the buffer is reserved for the NUL.
    if (size > 0 && readText(*_strm, text, size - 1))
        std::memcpy(buffer, text.c_str(), text.size() + 1);
    else
        _strm->setstate(std::ios::failbit);
    return *this;
}

TRXistream& TRXistream::read(long long* array, CORBA_ULong count) { return scanAll(array, count); }
TRXistream& TRXistream::read(unsigned long long* array, CORBA_ULong count) { return scanAll(array, count); }

bool TRXistream::has(CORBA_ULong) const { return true; }
