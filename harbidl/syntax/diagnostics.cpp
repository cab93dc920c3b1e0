#include "syntax/diagnostics.h"

#include "syntax/original_lines.h"

#include <ostream>

namespace harbidl {

namespace {

constexpr const char* severityNames[] = {"error", "warning", "note"};

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v'; }

bool isWord(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// The preprocessor keeps the words of a line but not the space between them. Returns the offset in `original`
// of the word that is at `offset` in `preprocessed`, or of the macro from which it was expanded.
size_t originalOffset(std::string_view original, std::string_view preprocessed, size_t offset) {
    size_t there = 0;
    for (size_t here = 0;; ++here, ++there) {
        // Space is passed on both sides: the preprocessor may have shortened or widened it.
        while (here < std::min(offset, preprocessed.size()) && isBlank(preprocessed[here]))
            ++here;
        while (there < original.size() && isBlank(original[there]))
            ++there;
        if (here >= offset || here == preprocessed.size())
            return there;
        // From here on the lines differ, because a macro was expanded.
        if (there == original.size() || original[there] != preprocessed[here])
            break;
    }
    // The difference may be inside the macro's name; the caret is set to its beginning.
    while (there > 0 && isWord(original[there - 1]))
        --there;
    return there;
}

// The line, and below it a caret at the offset.
void printLine(std::ostream& out, std::string_view line, size_t offset) {
    constexpr size_t longest = 200;
    // A longer line would wrap in a terminal, and the caret would be misplaced.
    if (line.size() > longest)
        return;
    std::string shown, caret;
    for (size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        // A source text could otherwise send escape sequences to the terminal.
        const bool control = (static_cast<unsigned char>(c) < ' ' && c != '\t') || c == 0x7f;
        shown += control ? '.' : c;
        // A character of UTF-8 takes several octets and one column.
        const bool continuesCharacter = (static_cast<unsigned char>(c) & 0xc0) == 0x80;
        if (i < offset && !continuesCharacter)
            // A tab above needs a tab below, whatever width the terminal gives it.
            caret += c == '\t' ? '\t' : ' ';
    }
    out << "    " << shown << "\n    " << caret << "^\n";
}

} // namespace

void Diagnostics::add(Severity severity, Position position, std::string text) {
    messages_.push_back({severity, position, std::move(text)});
}

void Diagnostics::error(Position position, std::string text) {
    add(Severity::error, position, std::move(text));
    if (++errors_ >= errorLimit)
        throw GiveUp();
}

void Diagnostics::error(Position position, std::string text, Position other, std::string note) {
    add(Severity::error, position, std::move(text));
    add(Severity::note, other, std::move(note));
    // The note is added before this test, so that an error is never shown without it.
    if (++errors_ >= errorLimit)
        throw GiveUp();
}

void Diagnostics::warning(Position position, std::string text) {
    if (warningsAreErrors_)
        // Errors have their own limit, so the limit for warnings does not apply.
        error(position, std::move(text) + " [-Werror]");
    else if (++warnings_ <= warningLimit)
        add(Severity::warning, position, std::move(text));
}

void Diagnostics::note(Position position, std::string text) {
    // The note of a dropped warning would seem to belong to the previous message.
    if (!messages_.empty() && warnings_ <= warningLimit)
        add(Severity::note, position, std::move(text));
}

void Diagnostics::print(std::ostream& out) const {
    OriginalLines originals;
    for (const Message& message : messages_) {
        const SourceText::Place place = source_.place(message.position);
        // The user knows the line of the file; that of the preprocessor is shown only where the file cannot
        // be read, such as for text from a pipe.
        const std::string_view preprocessed = source_.lineAt(message.position);
        const std::string* original = originals.line(place.file, place.line);
        const size_t offset =
            original ? originalOffset(*original, preprocessed, place.column - 1) : place.column - 1;
        out << place.file << ":" << place.line << ":" << offset + 1 << ": "
            << severityNames[static_cast<int>(message.severity)] << ": " << message.text << "\n";
        printLine(out, original ? std::string_view(*original) : preprocessed, offset);
    }
    if (errors_ >= errorLimit)
        out << "too many errors; no more are looked for\n";
}

} // namespace harbidl
