#include "generate/emitter.h"

#include <algorithm>
#include <cassert>

namespace harbidl {

namespace {

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        lines.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

size_t blanksBefore(std::string_view line) { return std::min(line.find_first_not_of(' '), line.size()); }

const std::string& valueOf(std::string_view name, Emitter::Holes holes) {
    const auto hole =
        std::find_if(holes.begin(), holes.end(), [&](const auto& one) { return one.name == name; });
    // Templates and their holes are written together in the generator, so a wrong name is a bug in it and is
    // found in its first run.
    assert(hole != holes.end());
    return hole->value;
}

// The line with its holes filled. `empty` is set when the line consisted of empty holes only.
std::string filled(std::string_view line, Emitter::Holes holes, bool& empty) {
    std::string result;
    bool hadHole = false;
    while (!line.empty()) {
        const size_t begin = line.find('$');
        const size_t end = begin == line.npos ? line.npos : line.find('$', begin + 1);
        // Without a '$' `begin` is npos, and the whole rest is taken.
        result += line.substr(0, begin);
        if (end == line.npos)
            break;
        result += valueOf(line.substr(begin + 1, end - begin - 1), holes);
        hadHole = true;
        line.remove_prefix(end + 1);
    }
    empty = hadHole && result.empty();
    return result;
}

// Removes characters that would end the comment for the compiler, or make it look different to a reader:
// control characters, marks for the direction of writing, and a backslash or its trigraph at the end.
std::string harmlessComment(std::string_view line) {
    std::string result;
    for (size_t i = 0; i < line.size(); ++i) {
        const std::string_view three = line.substr(i, 3);
        // U+202A to U+202E and U+2066 to U+2069, as the octets of their UTF-8. Texts compare by octets.
        const bool turns = (three >= "\xe2\x80\xaa" && three <= "\xe2\x80\xae") ||
                           (three >= "\xe2\x81\xa6" && three <= "\xe2\x81\xa9");
        if (turns)
            i += 2;
        else if (static_cast<unsigned char>(line[i]) >= ' ' || line[i] == '\t')
            result += line[i];
    }
    while (result.ends_with('\\') || result.ends_with(' ') || result.ends_with("?\?/"))
        result.pop_back();
    return result;
}

} // namespace

void Emitter::print(std::string_view text, Holes holes) {
    // A raw string begins after its opening parenthesis, one line before the template.
    if (text.starts_with('\n'))
        text.remove_prefix(1);
    std::vector<std::string_view> lines = linesOf(text);
    if (!lines.empty() && blanksBefore(lines.back()) == lines.back().size())
        lines.pop_back(); // before the end of the raw string
    size_t common = std::string_view::npos;
    for (std::string_view line : lines) {
        // Empty lines in a template have no indentation; they must not count for the common indentation.
        if (!line.empty())
            common = std::min(common, blanksBefore(line));
    }
    for (std::string_view line : lines)
        this->line(line.substr(std::min(common, line.size())), holes);
}

void Emitter::line(std::string_view text, Holes holes) {
    // The line's own indentation is added to the present one, so that a value of several lines is indented as
    // a whole.
    const size_t own = blanksBefore(text);
    bool empty = false;
    const std::string whole = filled(text.substr(own), holes, empty);
    if (empty)
        return;
    indentation_ += own;
    // An empty line of the template, for which linesOf() returns no line.
    if (whole.empty())
        put("");
    for (std::string_view line : linesOf(whole))
        put(line);
    indentation_ -= own;
}

void Emitter::put(std::string_view line) {
    if (!line.empty())
        text_.append(indentation_, ' ').append(line);
    text_ += '\n';
}

void Emitter::blankLine() {
    // The text ends with a line end, so the last line begins after the previous line end. For a single line
    // rfind gives npos, and npos + 1 is 0.
    const size_t end = text_.empty() ? 0 : text_.rfind('\n', text_.size() - 2) + 1;
    const std::string_view lastLine = std::string_view(text_).substr(end);
    // Namespaces begin with an empty line, classes and functions do not.
    const bool opensBlock = lastLine.ends_with("{\n") && !lastLine.starts_with("namespace");
    if (!text_.empty() && lastLine != "\n" && !opensBlock && !lastLine.ends_with("public:\n"))
        text_ += '\n';
}

void Emitter::comment(const std::string& text) {
    for (std::string_view line : linesOf(text)) {
        const std::string harmless = harmlessComment(line);
        put(harmless.empty() ? "//" : "// " + harmless);
    }
}

void Emitter::list(const std::string& head, const std::vector<std::string>& pieces, std::string_view between,
                   const std::string& tail) {
    std::string line = head;
    const std::string below(head.size(), ' ');
    for (size_t i = 0; i < pieces.size(); ++i) {
        const std::string piece = pieces[i] + (i + 1 < pieces.size() ? std::string(between) : tail);
        // The space after a separator does not count, because it is removed at the end of a line.
        const size_t width = piece.find_last_not_of(' ') + 1;
        // The first piece is on the line of the head, however long it is.
        if (line.size() > head.size() && indentation_ + line.size() + width > longestLine) {
            put(line.substr(0, line.find_last_not_of(' ') + 1));
            line = below;
        }
        line += piece;
    }
    put(pieces.empty() ? head + tail : line);
}

} // namespace harbidl
