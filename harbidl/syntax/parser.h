#pragma once

#include "syntax/lexer.h"
#include "syntax/tree.h"

namespace harbidl {

// Recursive descent over the grammar. After an error parsing continues after the next ';' of the same level,
// so that the tree lacks only what could not be parsed. Nesting is limited.
class Parser {
public:
    Parser(SourceText& source, Diagnostics& diagnostics)
        : diagnostics_(diagnostics), lexer_(source, diagnostics) {}

    std::vector<tree::Definition> specification();

private:
    struct SyntaxError {}; // has been reported

    // One level of the grammar inside another one.
    class Level {
    public:
        explicit Level(Parser& parser);
        Level(const Level&) = delete;
        Level& operator=(const Level&) = delete;
        ~Level() { --parser_.depth_; }

    private:
        Parser& parser_;
    };
    static constexpr int deepest = 64;

    // parser.cpp: tokens, what can stand in a module or an interface, recovery
    void advance();
    bool accept(Keyword keyword);
    bool accept(std::string_view punctuation);
    void expect(std::string_view punctuation);
    void expectAngle();
    [[noreturn]] void fail(const std::string& expected);
    [[noreturn]] void failAt(Position position, const std::string& text);
    std::string found() const;
    void recover(int braces);
    // Calls `parse` for each piece up to the '}', which is taken.
    template <class Parse>
    void untilClosed(Parse parse);

    void takePragma();
    std::vector<tree::Definition> definitions(bool ofInterface);
    tree::Definition begin();
    void definition(tree::Definition& result, bool ofInterface);
    std::vector<tree::Definition> body(bool ofInterface);
    tree::Module module(tree::Definition& result);
    tree::Interface interface(tree::Definition& result);
    tree::Constant constant(tree::Definition& result);
    tree::Typedef typeAlias();
    tree::Operation operation(tree::Definition& result);
    tree::Parameter parameter();
    tree::Attribute attribute();
    std::vector<tree::Operation::Context> contexts();

    tree::Identifier identifier(const char* what);
    tree::ScopedName scopedName();
    std::vector<tree::ScopedName> scopedNames();

    // parse_types.cpp
    tree::Type type(bool mayDefine);
    tree::Basic basicType();
    tree::Basic unsignedType();
    tree::String stringType(bool wide);
    tree::Sequence sequenceType();
    void definedType(tree::Definition& result);
    tree::Struct structure();
    std::vector<tree::Member> members();
    tree::Union unionType();
    tree::Branch branch();
    tree::Enum enumeration();
    std::vector<tree::Declarator> declarators();
    tree::Declarator declarator();

    // parse_expressions.cpp
    tree::ExpressionPtr expression();
    tree::ExpressionPtr bound(); // where a ">>" closes two angles
    tree::ExpressionPtr chain(size_t precedence);
    tree::ExpressionPtr unary();
    tree::ExpressionPtr primary();
    tree::Literal literal();
    template <class Text, class Value>
    Text joined(Value value, Token::Kind kind);

    Diagnostics& diagnostics_;
    Lexer lexer_;
    Token token_;    // the next one
    Token previous_; // the one before
    int depth_ = 0;
    int braces_ = 0; // that are open at `token_`
    bool inAngles_ = false;
    std::vector<tree::Definition> pragmas_; // that have been passed since the last definition
};

template <class Parse>
void Parser::untilClosed(Parse parse) {
    const Level level(*this);
    const int braces = braces_;
    while (!token_.is("}")) {
        // Ends everything by GiveUp: no rule outside could find its '}' either.
        if (token_.kind == Token::Kind::end)
            fail("'}'");
        try {
            parse();
        } catch (const SyntaxError&) {
            // Goes on with the next piece of this body, so that one run shows more than one error.
            recover(braces);
        }
    }
    advance();
}

// A word that later versions of the language have given a meaning.
bool isLaterWord(std::string_view word);

} // namespace harbidl
