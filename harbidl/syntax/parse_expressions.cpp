#include "syntax/literal.h"
#include "syntax/parser.h"

#include <utility>

namespace harbidl {

namespace {

// From what binds least to what binds most.
constexpr std::string_view operators[][3] = {
    {"|"}, {"^"}, {"&"}, {"<<", ">>"}, {"+", "-"}, {"*", "/", "%"},
};

} // namespace

tree::ExpressionPtr Parser::expression() {
    const Level level(*this);
    return chain(0);
}

tree::ExpressionPtr Parser::bound() {
    // In "sequence<sequence<long, 3>>" the last two characters close both types; a shift needs parentheses
    // there.
    const bool outer = std::exchange(inAngles_, true);
    tree::ExpressionPtr result = expression();
    inAngles_ = outer;
    return result;
}

tree::ExpressionPtr Parser::chain(size_t precedence) {
    // Each level calls the next tighter one for its operands: the recursion is as deep as the table, not as
    // the text.
    if (precedence == std::size(operators))
        return unary();
    tree::ExpressionPtr first = chain(precedence + 1);
    tree::Chain chain;
    const auto atOperator = [&] {
        for (std::string_view operation : operators[precedence]) {
            // Rows of the table have up to three operators; the rest of a row is empty.
            if (!operation.empty() && token_.is(operation))
                return !(inAngles_ && operation == ">>");
        }
        return false;
    };
    // A list, not a tree that leans to the left: a source text with 100,000 operators must not nest that
    // deep.
    while (atOperator()) {
        const char operation = token_.text.front();
        const Position position = token_.position;
        advance();
        chain.links.push_back({operation, position, this->chain(precedence + 1)});
    }
    // The usual case, a single operand, gets no node of its own on each level.
    if (chain.links.empty())
        return first;
    // Read before `first` is moved away.
    const Position position = first->position;
    chain.first = std::move(first);
    return std::make_unique<tree::Expression>(tree::Expression{position, std::move(chain)});
}

tree::ExpressionPtr Parser::unary() {
    if (!token_.is("-") && !token_.is("+") && !token_.is("~"))
        return primary();
    const Position position = token_.position;
    // The grammar has one sign before an operand, so "- -1" needs parentheses, and the recursion stays
    // bounded.
    const char operation = token_.text.front();
    advance();
    return std::make_unique<tree::Expression>(tree::Expression{position, tree::Unary{operation, primary()}});
}

tree::ExpressionPtr Parser::primary() {
    const Position position = token_.position;
    if (accept("(")) {
        // Inside parentheses ">>" can be nothing but a shift.
        const bool outer = std::exchange(inAngles_, false);
        tree::ExpressionPtr inner = expression();
        inAngles_ = outer;
        expect(")");
        return inner;
    }
    // Keywords are words as well; TRUE and FALSE are left to literal().
    if (token_.is("::") || (token_.kind == Token::Kind::word && token_.is(Keyword::none)))
        return std::make_unique<tree::Expression>(tree::Expression{position, scopedName()});
    return std::make_unique<tree::Expression>(tree::Expression{position, literal()});
}

// Literals of strings that follow each other are one. A literal that stands for nothing has been reported.
template <class Text, class Value>
Text Parser::joined(Value value, Token::Kind kind) {
    Text text;
    for (; token_.kind == kind; advance()) {
        const std::optional<Text> piece = value(token_, diagnostics_);
        if (!piece)
            throw SyntaxError();
        text += *piece;
    }
    return text;
}

tree::Literal Parser::literal() {
    const Token token = token_;
    // Advances only behind a value. A syntax error lets recover() begin at the literal itself.
    const auto single = [&](auto value) -> tree::Literal {
        if (!value)
            throw SyntaxError();
        advance();
        return {*value};
    };
    switch (token.kind) {
    case Token::Kind::integer: return single(integerValue(token, diagnostics_));
    case Token::Kind::floating: return single(floatingValue(token, diagnostics_));
    case Token::Kind::character: return single(characterValue(token, diagnostics_));
    case Token::Kind::wideCharacter: return single(wideCharacterValue(token, diagnostics_));
    case Token::Kind::string: return {joined<std::string>(stringValue, Token::Kind::string)};
    case Token::Kind::wideString: return {joined<std::u16string>(wideStringValue, Token::Kind::wideString)};
    default: break;
    }
    if (!token.is(Keyword::true_) && !token.is(Keyword::false_))
        fail("a value");
    advance();
    return {token.is(Keyword::true_)};
}

} // namespace harbidl
