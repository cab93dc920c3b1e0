#include "stream/ncstream.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <type_traits>

// The text form of an object stream: every value in the standard stream's own formatting with one blank
// behind it, strings in quotes with escapes. On the console streams strings are bare.

namespace {

bool isConsole(const std::ostream* out) { return out == &std::cout || out == &std::cerr; }

struct Escape {
    char byte;
    char letter;
};

// `{` and `}` never stand bare in the text form.
constexpr Escape escapes[] = {{'\b', 'b'}, {'\t', 't'},  {'\n', 'n'}, {'\f', 'f'}, {'\r', 'r'},
                              {'"', '"'},  {'\\', '\\'}, {'{', '['},  {'}', ']'}};

const char* overflowAt(size_t stored, size_t max) {
    return stored > max ? "NCistream::getCString: String Overflow\n"
                        : "NCistream::getCString: String overflow\n";
}

} // namespace

template <class T>
NCostream& NCostream::writeValue(T value) {
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
    if (!text || !*text) {
        *out_ << (text ? 1 : 0) << ' ';
        return *this;
    }
    *out_ << std::strlen(text) + 1;
    return writeCString(text);
}

NCostream& NCostream::writeCString(const char* text) {
    *out_ << '"';
    for (const char* c = text; *c; ++c) {
        const Escape* escape = nullptr;
        for (const Escape& candidate : escapes) {
            if (candidate.byte == *c)
                escape = &candidate;
        }
        if (escape) {
            *out_ << '\\' << escape->letter;
        } else if (std::isprint(static_cast<unsigned char>(*c))) {
            *out_ << *c;
        } else {
            char hex[5];
            std::snprintf(hex, sizeof hex, "\\x%02x",
                          static_cast<unsigned int>(static_cast<unsigned char>(*c)));
            *out_ << hex;
        }
    }
    *out_ << '"' << '\n';
    return *this;
}

template <class T>
NCistream& NCistream::readValue(T& value) {
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

// A standard stream does not tell; what is read from it grows with what really comes.
size_t NCistream::remaining() const { return std::numeric_limits<size_t>::max(); }

NCistream& NCistream::read(char*& text) {
    if (in_ == &std::cin) {
        // At the console a word goes into the buffer that is there, as much of it as the text it holds
        // allows.
        std::string word;
        if (!text || !(*in_ >> word))
            setFailed();
        else
            std::strncpy(text, word.c_str(), std::strlen(text));
        return *this;
    }
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
        text = read.c_str(); // a NUL ends it, as in the binary form
    return *this;
}

// Fewer than `max` characters between quotes: the buffer that they are meant for needs a place for the NUL.
bool NCistream::readQuoted(std::string& text, size_t max) {
    *in_ >> std::ws;
    const int quote = in_->get();
    if (quote != '"') {
        if (quote == EOF)
            std::cerr << "NCistream::getCString: Unexpected EOF\n";
        else
            std::cerr << "NCistream::getCString: Error reading Object " << ncReadErrorAdvice;
        setFailed();
        return false;
    }
    for (int c = in_->get(); c != '"'; c = in_->get()) {
        if (c == EOF) {
            setFailed();
            return false;
        }
        if (c == '\n')
            continue;
        char value = static_cast<char>(c);
        // A NUL would end the text before its length does.
        if ((value == '\\' && !readEscape(value)) || value == '\0') {
            setFailed();
            return false;
        }
        text.push_back(value);
        if (text.size() > max)
            break;
    }
    if (text.size() >= max) {
        std::cerr << overflowAt(text.size(), max);
        setFailed();
        return false;
    }
    in_->get(); // the newline
    return true;
}

bool NCistream::readEscape(char& value) {
    const int letter = in_->get();
    if (letter == EOF)
        return false;
    for (const Escape& escape : escapes) {
        if (escape.letter == letter) {
            value = escape.byte;
            return true;
        }
    }
    if (letter == 'x') {
        char digits[3] = {};
        for (int i = 0; i < 2 && std::isxdigit(in_->peek()); ++i)
            digits[i] = static_cast<char>(in_->get());
        value = static_cast<char>(std::strtoul(digits, nullptr, 16));
        return digits[0] != '\0';
    }
    in_->unget();
    int number = 0;
    if (!(*in_ >> number))
        return false;
    value = static_cast<char>(number);
    in_->get();
    return true;
}
