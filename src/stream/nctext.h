#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

// The base of NCString and TRXString: an owned, NUL-terminated string that is never null, and its operations.
// A null C string counts as an empty one. Comparison is that of strcmp.
template <class Derived>
class NCText {
public:
    const char* str() const { return text_.c_str(); }
    uint32_t len() const { return static_cast<uint32_t>(text_.size()); }
    const std::string& text() const { return text_; }

    // The character, or 0 beyond the end.
    char at(uint32_t index) const { return index < text_.size() ? text_[index] : '\0'; }
    // Replaces a character. Returns 0 beyond the end, else 1.
    int put(uint32_t index, char c) {
        if (index >= text_.size())
            return 0;
        if (c == '\0')
            text_.resize(index); // the text ends at its NUL
        else
            text_[index] = c;
        return 1;
    }

    Derived& operator=(const char* text) {
        text_.assign(text ? text : "");
        return self();
    }
    Derived& operator+=(const char* text) {
        text_.append(text ? text : "");
        return self();
    }
    Derived& operator+=(const NCText& other) {
        text_.append(other.text_);
        return self();
    }
    friend Derived operator+(Derived a, const char* b) { return std::move(a += b); }
    friend Derived operator+(Derived a, const Derived& b) { return std::move(a += b); }

    friend bool operator==(const Derived& a, const char* b) { return order(a, b) == 0; }
    friend bool operator!=(const Derived& a, const char* b) { return order(a, b) != 0; }
    friend bool operator<(const Derived& a, const char* b) { return order(a, b) < 0; }
    friend bool operator<=(const Derived& a, const char* b) { return order(a, b) <= 0; }
    friend bool operator>(const Derived& a, const char* b) { return order(a, b) > 0; }
    friend bool operator>=(const Derived& a, const char* b) { return order(a, b) >= 0; }
    friend bool operator==(const Derived& a, const Derived& b) { return order(a, b.str()) == 0; }
    friend bool operator!=(const Derived& a, const Derived& b) { return order(a, b.str()) != 0; }
    friend bool operator<(const Derived& a, const Derived& b) { return order(a, b.str()) < 0; }
    friend bool operator<=(const Derived& a, const Derived& b) { return order(a, b.str()) <= 0; }
    friend bool operator>(const Derived& a, const Derived& b) { return order(a, b.str()) > 0; }
    friend bool operator>=(const Derived& a, const Derived& b) { return order(a, b.str()) >= 0; }

protected:
    NCText() = default;
    explicit NCText(const char* text) : text_(text ? text : "") {}
    explicit NCText(std::string text) : text_(std::move(text)) {}

    std::string text_;

private:
    Derived& self() { return static_cast<Derived&>(*this); }
    static int order(const NCText& a, const char* b) { return std::strcmp(a.str(), b ? b : ""); }
};
