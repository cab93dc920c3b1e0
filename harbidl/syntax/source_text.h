#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// From text to tree. A preprocessor (preprocessor.h) turns a definition with all included files into one
// text, which SourceText holds together with the line marks that tell where each part comes from. The lexer
// (lexer.h) splits it into tokens, from which the parser (parser.h) makes the tree of tree.h. Names are not
// interpreted here. Errors are reported to Diagnostics (diagnostics.h), and parsing continues.

namespace harbidl {

// A place in the preprocessed text: the offset of an octet.
struct Position {
    uint32_t offset = 0;
};

// One file of the preprocessed text. A file that is included twice counts as two.
struct IncludedFile {
    std::string name;  // as the preprocessor found it
    uint32_t includer; // index of the file with the #include; the first file has its own index
    Position included; // a place in the line of the #include
};

class SourceText {
public:
    static constexpr uint32_t mainFile = 0;

    // The text begins in the file `name`.
    SourceText(std::string text, std::string name);

    std::string_view text() const { return text_; }

    // Where a place is for the user, counted from 1. The column is that of the preprocessed line. The name is
    // the file's, unless a #line gave another one.
    struct Place {
        const std::string& file;
        uint32_t line;
        uint32_t column;
    };
    Place place(Position position) const;
    uint32_t fileAt(Position position) const { return markAt(position).file; }
    std::string_view lineAt(Position position) const; // the preprocessed line, without its end
    const std::vector<IncludedFile>& files() const { return files_; }

    // For the lexer, which knows what is a line mark and what only looks like one. The text from `begin` on
    // is line `line` of the file `name`. The mark itself stands at `position`. Marks come in the order of the
    // text.
    enum class Mark { within, enters, leaves };
    void mark(Position position, Position begin, uint32_t line, std::string_view name, Mark kind);

private:
    struct LineMark {
        uint32_t begin;
        uint32_t line;
        uint32_t file;
        uint32_t name;
    };
    const LineMark& markAt(Position position) const;

    std::string text_;
    std::vector<IncludedFile> files_;
    std::vector<LineMark> marks_;
    std::vector<std::string> names_;
    std::vector<uint32_t> open_; // the files that the text is inside of at the last mark
};

} // namespace harbidl
