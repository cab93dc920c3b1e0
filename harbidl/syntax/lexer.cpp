#include "syntax/lexer.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

namespace harbidl {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isWordStart(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool isWordPart(char c) { return isWordStart(c) || isDigit(c); }

std::string_view withoutBlanks(std::string_view text) {
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

// A comparison of string_views begins with their lengths, so that most of this chain is cheap.
Keyword keywordOf(std::string_view text) {
#define X(name, spelling)                                                                                    \
    if (text == spelling)                                                                                    \
        return Keyword::name;
    HARBIDL_KEYWORDS(X)
#undef X
    return Keyword::none;
}

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool equalInLowerCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

std::string shown(char c) {
    // Anything else, such as an octet of UTF-8, would not show by itself or would spoil the terminal.
    if (c > ' ' && c <= '~')
        return std::string{'\'', c, '\''};
    char text[16];
    std::snprintf(text, sizeof text, "octet 0x%02x", static_cast<unsigned char>(c));
    return text;
}

// One line of a comment without the marks of the comment.
std::string_view commentLine(std::string_view line) {
    line = withoutBlanks(line);
    if (line.starts_with("//") || line.starts_with("/*")) {
        line.remove_prefix(2);
        // The marks of documentation tools, such as "///", "/**" and "//!", are marks too.
        while (!line.empty() && (line.front() == '/' || line.front() == '*' || line.front() == '!'))
            line.remove_prefix(1);
    } else if (line.starts_with("*") && !line.starts_with("*/")) {
        // The column of asterisks that many put before each line of a block.
        line.remove_prefix(1);
    }
    if (line.ends_with("*/"))
        line.remove_suffix(2);
    while (!line.empty() && isBlank(line.back()))
        line.remove_suffix(1);
    // Only the space behind the mark goes: what is indented further keeps its shape.
    if (!line.empty() && isBlank(line.front()))
        line.remove_prefix(1);
    return line;
}

} // namespace

const char* keywordInOtherCase(std::string_view text) {
#define X(name, spelling)                                                                                    \
    if (equalInLowerCase(text, spelling))                                                                    \
        return spelling;
    HARBIDL_KEYWORDS(X)
#undef X
    return nullptr;
}

Token Lexer::next() {
    for (;;) {
        skipToToken();
        // Determined before the token is taken, which marks the line as begun.
        commentAbove_ = commentEnd_ > commentBegin_ && commentNextLine_ == line_ && !lineBegun_;
        if (done())
            return take(Token::Kind::end, 0);
        const char c = at();
        Token token;
        // Directives are what the preprocessor has left: line marks and pragmas. They begin their line.
        if (c == '#' && !lineBegun_) {
            if (takeDirective(token))
                return token;
            continue;
        }
        lineBegun_ = true;
        if (c == '"' || c == '\'')
            return takeQuoted(0);
        // Tested before words, because the L could also begin a word.
        if (c == 'L' && (at(1) == '"' || at(1) == '\''))
            return takeQuoted(1);
        if (isWordStart(c))
            return takeWord();
        if (isDigit(c) || (c == '.' && isDigit(at(1))))
            return takeNumber();
        if (std::string_view("{}()[]<>,;:=+-*/%|^&~").find(c) != std::string_view::npos)
            return takePunctuation();
        // One octet is skipped, so that the loop advances whatever the file contains.
        diagnostics_.error({static_cast<uint32_t>(offset_)}, shown(c) + " has no meaning here");
        ++offset_;
    }
}

void Lexer::skipToToken() {
    while (!done()) {
        if (at() == '\n') {
            ++offset_;
            ++line_;
            lineBegun_ = false;
        } else if (isBlank(at()) || (at() == '\\' && at(1) == '\n')) {
            // A preprocessor may leave the backslash that joins two lines.
            ++offset_;
        } else if (at() == '/' && at(1) == '/') {
            skipLineComment();
        } else if (at() == '/' && at(1) == '*') {
            skipBlockComment();
        } else {
            return;
        }
    }
}

void Lexer::skipLineComment() {
    const size_t begin = offset_;
    // The end of the line stays, so that the next round counts it.
    offset_ = std::min(text().find('\n', offset_), text().size());
    rememberComment(begin, line_);
}

void Lexer::skipBlockComment() {
    const size_t begin = offset_;
    const uint32_t firstLine = line_;
    const size_t end = text().find("*/", offset_ + 2);
    // "/*/" does not end itself, so the search begins behind the first mark.
    if (end == std::string_view::npos)
        diagnostics_.error({static_cast<uint32_t>(begin)}, "this comment has no end");
    offset_ = end == std::string_view::npos ? text().size() : end + 2;
    const std::string_view comment = text().substr(begin, offset_ - begin);
    // The main loop does not see the line ends inside.
    line_ += static_cast<uint32_t>(std::count(comment.begin(), comment.end(), '\n'));
    rememberComment(begin, firstLine);
}

// Comments on lines of their own that directly follow each other count as one. A comment after a token
// belongs to that token's line.
void Lexer::rememberComment(size_t begin, uint32_t firstLine) {
    // The comment above is dropped as well, because a token is between it and the next token.
    if (lineBegun_) {
        commentBegin_ = commentEnd_ = 0;
        return;
    }
    // After an empty line a new comment begins; the previous one described something else.
    if (commentEnd_ == commentBegin_ || commentNextLine_ != firstLine)
        commentBegin_ = begin;
    commentEnd_ = offset_;
    commentNextLine_ = line_ + 1;
}

std::string Lexer::comment() const {
    if (!commentAbove_)
        return {};
    std::string result;
    std::string_view rest = text().substr(commentBegin_, commentEnd_ - commentBegin_);
    while (!rest.empty()) {
        const size_t end = std::min(rest.find('\n'), rest.size());
        const std::string_view line = commentLine(rest.substr(0, end));
        // Empty lines at the front go, such as the one behind a "/**"; those between paragraphs stay.
        if (!line.empty() || !result.empty())
            result.append(line).append("\n");
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    while (!result.empty() && result.back() == '\n')
        result.pop_back();
    return result;
}

bool Lexer::endsLine(uint32_t offset) const {
    const size_t end = std::min(text().find('\n', offset), text().size());
    const std::string_view rest = withoutBlanks(text().substr(offset, end - offset));
    return rest.empty() || rest.starts_with("//") || rest.starts_with("/*");
}

// Line marks are processed here. True for a pragma, which the parser handles.
bool Lexer::takeDirective(Token& token) {
    const size_t begin = offset_;
    const size_t end = std::min(text().find('\n', begin), text().size());
    const std::string_view line = withoutBlanks(text().substr(begin + 1, end - begin - 1));
    // Whatever the line says, it is consumed whole, its end excepted.
    const Position position{static_cast<uint32_t>(begin)};
    lineBegun_ = true;
    offset_ = end;
    // "#pragmatic" is no pragma.
    if (line.starts_with("pragma") && (line.size() == 6 || !isWordPart(line[6]))) {
        // A piece of the whole text, so its address gives its place in it.
        const std::string_view what = withoutBlanks(line.substr(6));
        token = {
            Token::Kind::pragma, Keyword::none, {static_cast<uint32_t>(what.data() - text().data())}, what};
        return true;
    }
    // Most preprocessors mark lines by "# 12", some by "#line 12".
    if (!line.empty() && isDigit(line.front()))
        takeLineMark(line, position);
    else if (line.starts_with("line") && line.size() > 4 && isBlank(line[4]))
        takeLineMark(withoutBlanks(line.substr(4)), position);
    else
        diagnostics_.error(position, "this preprocessor line is not understood");
    return false;
}

// 12 "file" flags: the next line is line 12 of the file. Flag 1: it has just been entered, 2: returned to.
void Lexer::takeLineMark(std::string_view line, Position position) {
    uint32_t number = 0;
    const auto digits = std::from_chars(line.data(), line.data() + line.size(), number);
    std::string_view rest = withoutBlanks(line.substr(static_cast<size_t>(digits.ptr - line.data())));
    // Without a name nothing is known about the file. The lines are counted as before then.
    if (!rest.starts_with('"'))
        return;
    std::string name;
    size_t i = 1;
    for (; i < rest.size() && rest[i] != '"'; ++i) {
        // The preprocessor escapes quotes and backslashes of a file's name.
        if (rest[i] == '\\' && i + 1 < rest.size())
            ++i;
        name += rest[i];
    }
    const std::string_view flags = withoutBlanks(rest.substr(std::min(i + 1, rest.size())));
    auto kind = SourceText::Mark::within;
    if (flags.starts_with('1'))
        kind = SourceText::Mark::enters;
    else if (flags.starts_with('2'))
        kind = SourceText::Mark::leaves;
    // The mark may be the last line of the text, without an end.
    const size_t nextLine = std::min(offset_ + 1, text().size());
    source_.mark(position, {static_cast<uint32_t>(nextLine)}, number, name, kind);
}

Token Lexer::take(Token::Kind kind, size_t length) {
    const Token token{kind, Keyword::none, {static_cast<uint32_t>(offset_)}, text().substr(offset_, length)};
    offset_ += length;
    return token;
}

Token Lexer::takeWord() {
    size_t length = 1;
    while (isWordPart(at(length)))
        ++length;
    Token token = take(Token::Kind::word, length);
    token.keyword = keywordOf(token.text);
    return token;
}

// Whatever a number could be: what it is worth is found out when its value is taken.
Token Lexer::takeNumber() {
    const bool hexadecimal = at() == '0' && (at(1) == 'x' || at(1) == 'X');
    size_t length = hexadecimal ? 2 : 0;
    bool floating = false;
    for (;; ++length) {
        const char c = at(length);
        const bool exponent = !hexadecimal && (c == 'e' || c == 'E');
        // A sign belongs to the number only behind an exponent: 1+2 are three tokens.
        if (exponent && (at(length + 1) == '+' || at(length + 1) == '-'))
            ++length;
        floating = floating || exponent || (c == '.' && !hexadecimal);
        if (c != '.' && !isWordPart(c))
            break;
    }
    return take(floating ? Token::Kind::floating : Token::Kind::integer, length);
}

Token Lexer::takeQuoted(size_t prefix) {
    const char quote = at(prefix);
    size_t length = prefix + 1;
    // A literal ends with its line, so that a missing quote spoils one line and not the rest of the file.
    while (at(length) != quote) {
        // What is escaped does not end the literal. Which escapes exist is checked when the value is taken.
        if (at(length) == '\\' && at(length + 1) != '\n' && offset_ + length + 1 < text().size())
            ++length;
        // at() gives 0 behind the text as well as for an octet 0 in it, so the offset decides.
        if (at(length) == '\n' || offset_ + length >= text().size()) {
            const char* const what = quote == '"' ? "string" : "character";
            diagnostics_.error({static_cast<uint32_t>(offset_)},
                               std::string("this ") + what + " literal has no end");
            // No closing quote is to be taken, and the line end stays for the main loop.
            --length;
            break;
        }
        ++length;
    }
    if (prefix == 0)
        return take(quote == '"' ? Token::Kind::string : Token::Kind::character, length + 1);
    return take(quote == '"' ? Token::Kind::wideString : Token::Kind::wideCharacter, length + 1);
}

Token Lexer::takePunctuation() {
    const std::string_view two = text().substr(offset_, 2);
    return take(Token::Kind::punctuation, two == "::" || two == "<<" || two == ">>" ? 2 : 1);
}

} // namespace harbidl
