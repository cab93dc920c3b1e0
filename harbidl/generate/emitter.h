#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Model to C++. The emitter prints; cxx_names.h, cxx_types.h and literals.h say what names, types and values
// of a definition are in C++; the generators (stub_header.h, stub_source.h) put together one output each.

namespace harbidl {

// Prints code from templates. A template looks like the code that it produces, with holes between '$':
// "struct $name$ {". Its lines get the present indentation instead of their common one, so a template can be
// indented in the generator as is convenient.
class Emitter {
public:
    struct Hole {
        std::string_view name;
        std::string value;
    };
    using Holes = std::initializer_list<Hole>;

    // A line with nothing but an empty hole is left out; all lines of a value get the indentation of its
    // first.
    void print(std::string_view text, Holes holes = {});
    void blankLine(); // a single one even if called repeatedly, and none at the beginning of a block
    void comment(const std::string& text);

    // Increases the indentation by one step while it exists.
    class Indented {
    public:
        explicit Indented(Emitter& emitter) : emitter_(emitter) { emitter_.indentation_ += step; }
        Indented(const Indented&) = delete;
        Indented& operator=(const Indented&) = delete;
        ~Indented() { emitter_.indentation_ -= step; }

    private:
        Emitter& emitter_;
    };

    // Prints `head`, the pieces separated by `between`, and `tail`: in one line if it fits, otherwise in
    // several lines, indented to the first piece.
    void list(const std::string& head, const std::vector<std::string>& pieces, std::string_view between,
              const std::string& tail);

    const std::string& text() const { return text_; }

private:
    static constexpr size_t step = 4;
    static constexpr size_t longestLine = 110;

    void line(std::string_view text, Holes holes);
    void put(std::string_view line);

    std::string text_;
    size_t indentation_ = 0;
};

} // namespace harbidl
