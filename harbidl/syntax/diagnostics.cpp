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

// The preprocessor keeps the words of a line and not the space between them. Gives the offset in `original`
// of what stands at `offset` in `preprocessed`, or of the macro that it came from.
size_t originalOffset(std::string_view original, std::string_view preprocessed, size_t offset) {
    size_t there = 0;
    for (size_t here = 0;; ++here, ++there) {
        while (here < std::min(offset, preprocessed.size()) && isBlank(preprocessed[here]))
            ++here;
        while (there < original.size() && isBlank(original[there]))
            ++there;
        if (here >= offset || here == preprocessed.size())
            return there;
        if (there == original.size() || original[there] != preprocessed[here])
            break;
    }
    while (there > 0 && isWord(original[there - 1]))
        --there;
    return there;
}

// The line, and below it a caret at the offset.
void printLine(std::ostream& out, std::string_view line, size_t offset) {
    constexpr size_t longest = 200;
    if (line.size() > longest)
        return;
    std::string shown, caret;
    for (size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        const bool control = (static_cast<unsigned char>(c) < ' ' && c != '\t') || c == 0x7f;
        shown += control ? '.' : c;
        const bool continuesCharacter = (static_cast<unsigned char>(c) & 0xc0) == 0x80;
        if (i < offset && !continuesCharacter)
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
    if (++errors_ >= errorLimit)
        throw GiveUp();
}

void Diagnostics::warning(Position position, std::string text) {
    if (warningsAreErrors_)
        error(position, std::move(text) + " [-Werror]");
    else if (++warnings_ <= warningLimit)
        add(Severity::warning, position, std::move(text));
}

void Diagnostics::note(Position position, std::string text) {
    if (!messages_.empty() && warnings_ <= warningLimit)
        add(Severity::note, position, std::move(text));
}

void Diagnostics::print(std::ostream& out) const {
    OriginalLines originals;
    for (const Message& message : messages_) {
        const SourceText::Place place = source_.place(message.position);
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
