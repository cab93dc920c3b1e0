#include "syntax/source_text.h"

#include <algorithm>

namespace harbidl {

SourceText::SourceText(std::string text, std::string name)
    : text_(std::move(text)), files_{{name, mainFile, {}}}, marks_{{0, 1, mainFile, 0}},
      names_{std::move(name)}, open_{mainFile} {}

const SourceText::LineMark& SourceText::markAt(Position position) const {
    // The first mark begins at 0, so there is always one at or before the position. Marks are sorted by
    // `begin`.
    const auto behind =
        std::upper_bound(marks_.begin(), marks_.end(), position.offset,
                         [](uint32_t offset, const LineMark& mark) { return offset < mark.begin; });
    return *std::prev(behind);
}

SourceText::Place SourceText::place(Position position) const {
    const LineMark& mark = markAt(position);
    // Lines are counted on demand: messages ask for places, and the number of these is limited.
    const std::string_view before = text().substr(mark.begin, position.offset - mark.begin);
    const auto lines = static_cast<uint32_t>(std::count(before.begin(), before.end(), '\n'));
    const size_t lastEnd = before.rfind('\n');
    const size_t column = lastEnd == before.npos ? before.size() : before.size() - lastEnd - 1;
    return {names_[mark.name], mark.line + lines, static_cast<uint32_t>(column + 1)};
}

std::string_view SourceText::lineAt(Position position) const {
    // A message about the end of the file stands behind the last octet.
    const size_t offset = std::min<size_t>(position.offset, text_.size());
    const size_t end = std::min(text_.find('\n', offset), text_.size());
    // A position on a line end belongs to the line that it ends, so the search starts before it.
    const size_t before = offset == 0 ? text_.npos : text_.rfind('\n', offset - 1);
    const size_t begin = before == text_.npos ? 0 : before + 1;
    return text().substr(begin, end - begin);
}

void SourceText::mark(Position position, Position begin, uint32_t line, std::string_view name, Mark kind) {
    // The mark of entering stands in the includer, where the #include stood.
    if (kind == Mark::enters) {
        files_.push_back({std::string(name), open_.back(), position});
        open_.push_back(static_cast<uint32_t>(files_.size() - 1));
    } else if (kind == Mark::leaves) {
        // Usually one level. A name that is not open, as a #line may give, leads back to the first file at
        // most.
        while (open_.size() > 1 && files_[open_.back()].name != name)
            open_.pop_back();
    }
    // Many marks in a row name the same file; names are not stored again for these.
    if (names_.back() != name)
        names_.emplace_back(name);
    marks_.push_back({begin.offset, line, open_.back(), static_cast<uint32_t>(names_.size() - 1)});
}

} // namespace harbidl
