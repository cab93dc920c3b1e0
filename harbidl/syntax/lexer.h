#pragma once

#include "syntax/diagnostics.h"
#include "syntax/token.h"

#include <string>

namespace harbidl {

// Splits preprocessed text into tokens, and passes the line marks to the SourceText. Characters that form no
// token are reported and skipped. The texts of tokens are parts of the SourceText.
class Lexer {
public:
    Lexer(SourceText& source, Diagnostics& diagnostics) : source_(source), diagnostics_(diagnostics) {}

    Token next();

    // The comment on the lines directly above the line of the token that `next` has returned, without its
    // marks, one line of text for each line. Empty when there is none.
    std::string comment() const;

    // Whether nothing but space and comments follows in the line.
    bool endsLine(uint32_t offset) const;

private:
    std::string_view text() const { return source_.text(); }
    char at(size_t ahead = 0) const {
        return ahead < text().size() - offset_ ? text()[offset_ + ahead] : '\0';
    }
    bool done() const { return offset_ == text().size(); }

    void skipToToken();
    void skipLineComment();
    void skipBlockComment();
    void rememberComment(size_t begin, uint32_t firstLine);
    bool takeDirective(Token& token);
    void takeLineMark(std::string_view line, Position position);

    Token take(Token::Kind kind, size_t length);
    Token takeWord();
    Token takeNumber();
    Token takeQuoted(size_t prefix);
    Token takePunctuation();

    SourceText& source_;
    Diagnostics& diagnostics_;
    size_t offset_ = 0;
    uint32_t line_ = 0;      // of the preprocessed text, counted from 0
    bool lineBegun_ = false; // something other than space stands before `offset_` in the line

    // The comments since the last token: octets of the text, and the line behind the last of them.
    size_t commentBegin_ = 0;
    size_t commentEnd_ = 0;
    uint32_t commentNextLine_ = 0;
    bool commentAbove_ = false; // of the token that was returned
};

// The keyword that the text would be in upper or lower case, null when there is none.
const char* keywordInOtherCase(std::string_view text);

} // namespace harbidl
