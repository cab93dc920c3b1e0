#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Model to C++. The emitter prints; cxx_names.h, cxx_types.h and literals.h say what names, types and values
// of a definition are in C++; the generators (stub_header.h, stub_source.h) put together one output each.

namespace harbidl {

// Prints code. A template reads like the code that it makes, with holes between '$': "struct $name$ {". Its
// lines are set in by the present indentation; what its own lines have in common is taken off, so that a
// template may stand in the generator where it reads best.
class Emitter {
public:
    struct Hole {
        std::string_view name;
        std::string value;
    };
    using Holes = std::initializer_list<Hole>;

    // A hole that is alone in its line and empty takes the line away; lines of a value are set in like the
    // first.
    void print(std::string_view text, Holes holes = {});
    void blankLine(); // one, however often it is asked for, and none at the beginning of a block
    void comment(const std::string& text);

    // Deeper by one step while it lives.
    class Indented {
    public:
        explicit Indented(Emitter& emitter) : emitter_(emitter) { emitter_.indentation_ += step; }
        Indented(const Indented&) = delete;
        Indented& operator=(const Indented&) = delete;
        ~Indented() { emitter_.indentation_ -= step; }

    private:
        Emitter& emitter_;
    };

    // `head`, the pieces with `between` in between, and `tail`: in one line if it fits, otherwise in lines
    // that are set in to stand below the first piece.
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
