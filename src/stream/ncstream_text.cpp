#include "base/standard_streams.h"
#include "stream/ncstream.h"

#include "base/quoted_text.h"
#include "stream/complaints.h"
#include "stream/nctables.h"

#include <cstring>
#include <type_traits>
#include <utility>

using namespace harbolance;

// The text form of an object stream: every value in the standard stream's own format followed by one space,
// strings in quotes with escapes. On the console streams strings are unquoted.

namespace {

bool isConsole(const std::ostream* out) { return out == &standardOutput() || out == &standardError(); }

} // namespace

template <class T>
NCostream& NCostream::writeValue(T value) {
    // A number in the text form, not a character.
    if constexpr (std::is_same_v<T, unsigned char>)
        *out_ << static_cast<unsigned int>(value) << ' ';
    else
        *out_ << value << ' ';
    return *this;
}

template <class T>
NCostream& NCostream::writeValues(const T* values, size_t count) {
    for (size_t i = 0; i < count; ++i)
        writeValue(values[i]);
    return *this;
}

NCostream& NCostream::write(char value) { return writeValue(value); }
NCostream& NCostream::write(unsigned char value) { return writeValue(value); }
NCostream& NCostream::write(short value) { return writeValue(value); }
NCostream& NCostream::write(unsigned short value) { return writeValue(value); }
NCostream& NCostream::write(int value) { return writeValue(value); }
NCostream& NCostream::write(unsigned int value) { return writeValue(value); }
NCostream& NCostream::write(long value) { return writeValue(value); }
NCostream& NCostream::write(unsigned long value) { return writeValue(value); }
NCostream& NCostream::write(float value) { return writeValue(static_cast<double>(value)); }
NCostream& NCostream::write(double value) { return writeValue(value); }
NCostream& NCostream::put(char value) { return write(value); }
NCostream& NCostream::write(const char* bytes, size_t count) { return writeValues(bytes, count); }
NCostream& NCostream::write(const unsigned char* bytes, size_t count) { return writeValues(bytes, count); }
NCostream& NCostream::write(const short* values, size_t count) { return writeValues(values, count); }
NCostream& NCostream::write(const unsigned short* values, size_t count) { return writeValues(values, count); }
NCostream& NCostream::write(const int* values, size_t count) { return writeValues(values, count); }
NCostream& NCostream::write(const unsigned int* values, size_t count) { return writeValues(values, count); }
NCostream& NCostream::write(const long* values, size_t count) { return writeValues(values, count); }
NCostream& NCostream::write(const unsigned long* values, size_t count) { return writeValues(values, count); }
NCostream& NCostream::write(const float* values, size_t count) { return writeValues(values, count); }
NCostream& NCostream::write(const double* values, size_t count) { return writeValues(values, count); }

NCostream& NCostream::write(const char* text) {
    if (isConsole(out_)) {
        *out_ << (text ? text : "") << ' ';
        return *this;
    }
    // The format of a text: a count of its octets with the NUL, then the quoted text. 0 stands for null and 1
    // for the empty text, both without quotes.
    if (!text || !*text) {
        *out_ << (text ? 1 : 0) << ' ';
        return *this;
    }
    *out_ << std::strlen(text) + 1;
    return writeCString(text);
}

NCostream& NCostream::writeCString(const char* text) {
    writeQuoted(*out_, text);
    return *this;
}

template <class T>
NCistream& NCistream::readValue(T& value) {
    // Read into a copy: a failed extraction sets its destination to 0, but this class leaves it unchanged.
    T read = value;
    if constexpr (std::is_same_v<T, unsigned char>) {
        unsigned int number = 0;
        *in_ >> number;
        read = static_cast<unsigned char>(number);
    } else {
        *in_ >> read;
    }
    if (!*in_) {
        setFailed();
        return *this;
    }
    value = read;
    in_->get();
    return *this;
}

template <class T>
NCistream& NCistream::readValues(T* values, size_t count) {
    // The loop ends at a failure: the count may come from a peer, and a failed stream stays failed.
    for (size_t i = 0; i < count && !failed_; ++i)
        readValue(values[i]);
    return *this;
}

NCistream& NCistream::read(char& value) { return readValue(value); }
NCistream& NCistream::read(unsigned char& value) { return readValue(value); }
NCistream& NCistream::read(short& value) { return readValue(value); }
NCistream& NCistream::read(unsigned short& value) { return readValue(value); }
NCistream& NCistream::read(int& value) { return readValue(value); }
NCistream& NCistream::read(unsigned int& value) { return readValue(value); }
NCistream& NCistream::read(long& value) { return readValue(value); }
NCistream& NCistream::read(unsigned long& value) { return readValue(value); }
NCistream& NCistream::read(float& value) { return readValue(value); }
NCistream& NCistream::read(double& value) { return readValue(value); }
NCistream& NCistream::get(char& value) { return read(value); }
NCistream& NCistream::get(unsigned char& value) { return read(value); }
NCistream& NCistream::read(char* bytes, size_t count) { return readValues(bytes, count); }
NCistream& NCistream::read(unsigned char* bytes, size_t count) { return readValues(bytes, count); }
NCistream& NCistream::read(short* values, size_t count) { return readValues(values, count); }
NCistream& NCistream::read(unsigned short* values, size_t count) { return readValues(values, count); }
NCistream& NCistream::read(int* values, size_t count) { return readValues(values, count); }
NCistream& NCistream::read(unsigned int* values, size_t count) { return readValues(values, count); }
NCistream& NCistream::read(long* values, size_t count) { return readValues(values, count); }
NCistream& NCistream::read(unsigned long* values, size_t count) { return readValues(values, count); }
NCistream& NCistream::read(float* values, size_t count) { return readValues(values, count); }
NCistream& NCistream::read(double* values, size_t count) { return readValues(values, count); }

int NCistream::get() {
    char value = '\0';
    read(value);
    return failed_ ? -1 : static_cast<unsigned char>(value);
}

// A standard stream does not say how much it holds. Texts read from it grow as their characters arrive.
size_t NCistream::remaining() const { return std::numeric_limits<size_t>::max(); }

// Like the extraction of a word into a character array: the width includes the NUL.
void NCistream::readWord(char*& text) {
    const std::streamsize width = in_->width();
    // The extraction into a string does not count the NUL. A width of 1 leaves room for the NUL only.
    in_->width(width > 1 ? width - 1 : 0);
    std::string word;
    if (width == 1 || !(*in_ >> word)) {
        setFailed();
        return;
    }
    if (!text)
        text = new char[word.size() + 1];
    std::memcpy(text, word.c_str(), word.size() + 1);
}

NCistream& NCistream::read(char*& text) {
    if (in_ == &standardInput()) {
        readWord(text);
        return *this;
    }
    // The count comes first. No memory is allocated for it, only for the characters that follow.
    unsigned long size = 0;
    *in_ >> size;
    if (!*in_) {
        setFailed();
        return *this;
    }
    if (size <= 1) {
        in_->get();
        text = size == 0 ? nullptr : new char[1]();
        return *this;
    }
    std::string read;
    if (readQuoted(read, size)) {
        text = new char[read.size() + 1];
        std::memcpy(text, read.c_str(), read.size() + 1);
    }
    return *this;
}

NCistream& NCistream::getCString(char* buffer, int max) {
    std::string text;
    if (readQuoted(text, max < 0 ? std::numeric_limits<size_t>::max() : static_cast<size_t>(max)))
        std::memcpy(buffer, text.c_str(), text.size() + 1);
    return *this;
}

NCistream& NCistream::getText(std::string& text) {
    std::string read;
    if (readQuoted(read, std::numeric_limits<size_t>::max()))
        text = std::move(read);
    return *this;
}

// Accepts fewer than `max` characters between quotes, since the buffer that they go to needs room for the
// NUL.
bool NCistream::readQuoted(std::string& text, size_t max) {
    const QuotedText result = harbolance::readQuoted(*in_, text, max, DecimalEscape::delimited);
    const bool fits = text.size() < max;
    switch (result) {
    case QuotedText::missing: complain(standardError(), "NCistream::getCString: Unexpected EOF\n"); break;
    case QuotedText::notQuoted:
        complain(standardError(),
                 std::string("NCistream::getCString: Error reading Object ") + ncReadErrorAdvice);
        break;
    case QuotedText::tooLong: complain(standardError(), "NCistream::getCString: String Overflow\n"); break;
    case QuotedText::good:
        if (!fits)
            complain(standardError(), "NCistream::getCString: String overflow\n");
        break;
    case QuotedText::unfinished:
    case QuotedText::badEscape: break;
    }
    // A NUL would end the text before its length.
    if (result != QuotedText::good || !fits || text.find('\0') != std::string::npos) {
        setFailed();
        return false;
    }
    in_->get(); // skips the newline
    return true;
}
