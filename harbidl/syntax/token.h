#pragma once

#include "syntax/source_text.h"

#include <string_view>

namespace harbidl {

// The words of the language. X(name in the code, text)
#define HARBIDL_KEYWORDS(X)                                                                                  \
    X(any, "any")                                                                                            \
    X(attribute, "attribute")                                                                                \
    X(boolean, "boolean")                                                                                    \
    X(case_, "case")                                                                                         \
    X(char_, "char")                                                                                         \
    X(const_, "const")                                                                                       \
    X(context, "context")                                                                                    \
    X(default_, "default")                                                                                   \
    X(double_, "double")                                                                                     \
    X(enum_, "enum")                                                                                         \
    X(exception, "exception")                                                                                \
    X(false_, "FALSE")                                                                                       \
    X(float_, "float")                                                                                       \
    X(in, "in")                                                                                              \
    X(inout, "inout")                                                                                        \
    X(interface, "interface")                                                                                \
    X(long_, "long")                                                                                         \
    X(module, "module")                                                                                      \
    X(native, "native")                                                                                      \
    X(object, "Object")                                                                                      \
    X(octet, "octet")                                                                                        \
    X(oneway, "oneway")                                                                                      \
    X(out, "out")                                                                                            \
    X(raises, "raises")                                                                                      \
    X(readonly, "readonly")                                                                                  \
    X(sequence, "sequence")                                                                                  \
    X(short_, "short")                                                                                       \
    X(string, "string")                                                                                      \
    X(struct_, "struct")                                                                                     \
    X(switch_, "switch")                                                                                     \
    X(true_, "TRUE")                                                                                         \
    X(typedef_, "typedef")                                                                                   \
    X(union_, "union")                                                                                       \
    X(unsigned_, "unsigned")                                                                                 \
    X(void_, "void")                                                                                         \
    X(wchar, "wchar")                                                                                        \
    X(wstring, "wstring")

enum class Keyword {
    none,
#define X(name, text) name,
    HARBIDL_KEYWORDS(X)
#undef X
};

struct Token {
    enum class Kind {
        word,    // an identifier, or a keyword if `keyword` says so
        integer, // literals, as they are written
        floating,
        character,
        string,
        wideCharacter,
        wideString,
        punctuation, // one character, or "::", "<<", ">>"
        pragma,      // what stands behind "#pragma" in its line
        end,
    };

    Kind kind = Kind::end;
    Keyword keyword = Keyword::none;
    Position position;
    std::string_view text; // of an escaped identifier with its underscore

    bool is(Keyword other) const { return keyword == other; }
    bool is(std::string_view punctuation) const { return kind == Kind::punctuation && text == punctuation; }
};

} // namespace harbidl
