#include "syntax/pragma.h"

namespace harbidl {

namespace {

// The words of one line.
class Words {
public:
    Words(const Token& token)
        : begin_(token.text.data()), offset_(token.position.offset), rest_(token.text) {}

    Position position() {
        skipBlanks();
        return {offset_ + static_cast<uint32_t>(rest_.data() - begin_)};
    }
    // The next word, up to a space; empty at the end of the line.
    std::string_view word() {
        skipBlanks();
        // npos is larger than any size: then the word goes to the end.
        return take(std::min(rest_.find_first_of(" \t\r"), rest_.size()));
    }
    // A text in quotes.
    std::optional<std::string> text() {
        skipBlanks();
        // No escapes here: a repository id or a file's name has no quotes in it.
        const size_t end = rest_.starts_with('"') ? rest_.find('"', 1) : rest_.npos;
        if (end == rest_.npos)
            return std::nullopt;
        const std::string_view quoted = take(end + 1);
        return std::string(quoted.substr(1, quoted.size() - 2));
    }
    bool done() {
        skipBlanks();
        // The preprocessor runs with comments kept, so one may end the line.
        return rest_.empty() || rest_.starts_with("//") || rest_.starts_with("/*");
    }

private:
    void skipBlanks() {
        const size_t begin = rest_.find_first_not_of(" \t\r");
        rest_.remove_prefix(std::min(begin, rest_.size()));
    }
    std::string_view take(size_t length) {
        const std::string_view taken = rest_.substr(0, length);
        rest_.remove_prefix(length);
        return taken;
    }

    const char* begin_;
    uint32_t offset_;
    std::string_view rest_;
};

// "A::B" or "::A::B".
tree::ScopedName scopedName(std::string_view text, Position position) {
    tree::ScopedName name;
    name.position = position;
    name.global = text.starts_with("::");
    if (name.global)
        text.remove_prefix(2);
    // At least one part, as who looks it up expects. One that is empty, as behind the "::" of "A::", is found
    // nowhere, and reported there.
    for (;;) {
        const size_t end = std::min(text.find("::"), text.size());
        name.parts.push_back({std::string(text.substr(0, end)), false, position});
        if (end == text.size())
            return name;
        text.remove_prefix(end + 2);
    }
}

bool isVersion(std::string_view text) {
    const size_t point = text.find('.');
    const auto isNumber = [](std::string_view digits) {
        // The parts of a version are unsigned shorts, which have at most five digits.
        return !digits.empty() && digits.size() < 6 && digits.find_first_not_of("0123456789") == digits.npos;
    };
    return point != text.npos && isNumber(text.substr(0, point)) && isNumber(text.substr(point + 1));
}

} // namespace

std::optional<tree::Pragma> parsePragma(const Token& token, Diagnostics& diagnostics) {
    using Kind = tree::Pragma::Kind;
    Words words(token);
    const std::string_view word = words.word();
    tree::Pragma pragma{};
    if (word == "prefix")
        pragma.kind = Kind::prefix;
    else if (word == "ID")
        pragma.kind = Kind::id;
    else if (word == "version")
        pragma.kind = Kind::version;
    else if (word == "header")
        pragma.kind = Kind::header;
    else {
        // "once" is for the preprocessor, which may leave it in the text of the main file.
        if (word != "once")
            diagnostics.warning(token.position, "this pragma is not known and is passed over");
        return std::nullopt;
    }
    if (pragma.kind == Kind::id || pragma.kind == Kind::version) {
        const Position position = words.position();
        pragma.name = scopedName(words.word(), position);
    }
    const Position position = words.position();
    std::optional<std::string> text;
    if (pragma.kind != Kind::version)
        text = words.text();
    else if (const std::string_view version = words.word(); isVersion(version))
        text = std::string(version);
    // Words behind the text are an error: a forgotten quote would otherwise cut a repository id short.
    if (!text || !words.done()) {
        diagnostics.error(position,
                          "this pragma needs " +
                              std::string(pragma.kind == Kind::version ? "a name and a version such as 1.0"
                                          : pragma.kind == Kind::id    ? "a name and a text in quotes"
                                                                       : "a text in quotes"));
        return std::nullopt;
    }
    pragma.text = std::move(*text);
    return pragma;
}

} // namespace harbidl
