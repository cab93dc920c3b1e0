#pragma once

#include <iostream>
#include <sstream>
#include <string>

// What a standard stream prints while this lives.
class Captured {
public:
    explicit Captured(std::ostream& stream) : stream_(stream), saved_(stream.rdbuf(text_.rdbuf())) {}
    ~Captured() { stream_.rdbuf(saved_); }
    std::string text() const { return text_.str(); }

private:
    std::ostream& stream_;
    std::ostringstream text_;
    std::streambuf* saved_;
};

template <class T>
std::string printed(const T& value, std::ostream& stream = std::cout) {
    const Captured captured(stream);
    stream << value;
    return captured.text();
}
