#include "syntax/parser.h"

#include "syntax/pragma.h"

#include <algorithm>

namespace harbidl {

bool isLaterWord(std::string_view word) {
    constexpr std::string_view words[] = {
        "abstract",   "component",  "connector", "consumes",  "custom",   "emits",       "eventtype",
        "factory",    "finder",     "fixed",     "getraises", "home",     "import",      "local",
        "manages",    "mirrorport", "multiple",  "port",      "porttype", "primarykey",  "private",
        "provides",   "public",     "publishes", "setraises", "supports", "truncatable", "typeid",
        "typeprefix", "uses",       "valuetype", "ValueBase",
    };
    return std::find(std::begin(words), std::end(words), word) != std::end(words);
}

Parser::Level::Level(Parser& parser) : parser_(parser) {
    // Limits the nesting, because each level uses the stack. The count is increased last, because the
    // destructor does not run when this throws.
    if (parser.depth_ == deepest)
        parser.failAt(parser.token_.position, "this is nested too deep");
    ++parser.depth_;
}

// --- Tokens

void Parser::advance() {
    // Braces are counted when they are consumed: at a '}' the count is still that of the inside.
    previous_ = token_;
    if (token_.is("{"))
        ++braces_;
    else if (token_.is("}"))
        --braces_;
    // Pragmas may occur anywhere. They are collected here, so that no rule of the grammar has to expect them.
    for (token_ = lexer_.next(); token_.kind == Token::Kind::pragma; token_ = lexer_.next())
        takePragma();
}

bool Parser::accept(Keyword keyword) {
    const bool found = token_.is(keyword);
    if (found)
        advance();
    return found;
}

bool Parser::accept(std::string_view punctuation) {
    const bool found = token_.is(punctuation);
    if (found)
        advance();
    return found;
}

void Parser::expect(std::string_view punctuation) {
    if (!accept(punctuation))
        fail("'" + std::string(punctuation) + "'");
}

// A '>', which may be the first half of a ">>".
void Parser::expectAngle() {
    if (!token_.is(">>")) {
        expect(">");
        return;
    }
    // The present token becomes the second '>', for the caller outside. The lexer has already passed both.
    token_.text.remove_prefix(1);
    ++token_.position.offset;
}

std::string Parser::found() const {
    switch (token_.kind) {
    case Token::Kind::end: return "the end of the file";
    case Token::Kind::string:
    case Token::Kind::wideString: return "a string";
    case Token::Kind::character:
    case Token::Kind::wideCharacter: return "a character literal";
    default: return "'" + std::string(token_.text) + "'";
    }
}

// A word of a later version of the language is named in the message when the grammar fails at it.
void Parser::fail(const std::string& expected) {
    // "fixed" has been taken as the name of a type by then, so it is the token before.
    const bool fixedType = token_.is("<") && previous_.text == "fixed";
    const Token& suspect = fixedType ? previous_ : token_;
    if (suspect.kind == Token::Kind::word && isLaterWord(suspect.text))
        failAt(suspect.position,
               "'" + std::string(suspect.text) + "' is not part of the language of this compiler");
    // Where a line ends too early, the user looks there and not at the line that follows.
    const uint32_t previousEnd = previous_.position.offset + static_cast<uint32_t>(previous_.text.size());
    const bool atLineEnd = previousEnd > 0 && lexer_.endsLine(previousEnd) && token_.kind != Token::Kind::end;
    failAt(atLineEnd ? Position{previousEnd - 1} : token_.position,
           "expected " + expected + ", found " + found());
}

void Parser::failAt(Position position, const std::string& text) {
    diagnostics_.error(position, text);
    if (token_.kind == Token::Kind::end)
        throw GiveUp(); // every level that is open would say the same
    throw SyntaxError();
}

// Error recovery: continues after the ';' that ends the wrong construct, or before the '}' that ends the
// enclosing body, at depth `braces`.
void Parser::recover(int braces) {
    // The error may have left a bound half read.
    inAngles_ = false;
    // Braces between are passed in pairs, so a ';' inside of them does not end the search.
    while (token_.kind != Token::Kind::end && !(braces_ == braces && (token_.is(";") || token_.is("}"))))
        advance();
    // A '}' stays: it is for the caller, whose body it closes.
    accept(";");
}

// --- Definitions

std::vector<tree::Definition> Parser::specification() {
    advance();
    std::vector<tree::Definition> all;
    while (token_.kind != Token::Kind::end) {
        std::vector<tree::Definition> some = definitions(false);
        std::move(some.begin(), some.end(), std::back_inserter(all));
        // definitions() stops at every '}'. At the top level there is no body to close, so it is skipped;
        // otherwise this loop would not advance.
        if (token_.is("}")) {
            diagnostics_.error(token_.position, "this '}' closes nothing");
            advance();
        }
    }
    return all;
}

void Parser::takePragma() {
    if (std::optional<tree::Pragma> pragma = parsePragma(token_, diagnostics_))
        pragmas_.push_back({token_.position, {}, {}, std::move(*pragma)});
}

// What stands in a module or an interface, or at the top: up to a '}' or the end. Pragmas count where they
// stand.
std::vector<tree::Definition> Parser::definitions(bool ofInterface) {
    std::vector<tree::Definition> result;
    const auto takePragmas = [&] {
        std::move(pragmas_.begin(), pragmas_.end(), std::back_inserter(result));
        pragmas_.clear();
    };
    // Errors in a definition lead back to this depth, however deep they were raised.
    const int braces = braces_;
    for (takePragmas(); !token_.is("}") && token_.kind != Token::Kind::end; takePragmas()) {
        // An empty statement, common after a body in C++, defines nothing.
        if (token_.is(";")) {
            diagnostics_.warning(token_.position, "this ';' ends nothing");
            advance();
            continue;
        }
        try {
            tree::Definition next = begin();
            definition(next, ofInterface);
            result.push_back(std::move(next));
        } catch (const SyntaxError&) {
            recover(braces);
        }
    }
    return result;
}

tree::Definition Parser::begin() { return {token_.position, lexer_.comment(), {}, tree::Native{}}; }

void Parser::definition(tree::Definition& result, bool ofInterface) {
    const Level level(*this);
    switch (token_.keyword) {
    case Keyword::const_: result.what = constant(result); break;
    case Keyword::typedef_: result.what = typeAlias(); break;
    case Keyword::struct_:
    case Keyword::union_:
    case Keyword::enum_: definedType(result); break;
    case Keyword::exception:
        advance();
        result.name = identifier("the name of the exception");
        result.what = tree::Exception{members()};
        break;
    // The definition was made as a Native, which has nothing but its name.
    case Keyword::native:
        advance();
        result.name = identifier("the name of the type");
        break;
    default:
        if (ofInterface && (token_.is(Keyword::attribute) || token_.is(Keyword::readonly)))
            result.what = attribute();
        // Anything else in an interface must begin the result type of an operation.
        else if (ofInterface && token_.kind != Token::Kind::punctuation)
            result.what = operation(result);
        else if (!ofInterface && accept(Keyword::module))
            result.what = module(result);
        else if (!ofInterface && accept(Keyword::interface))
            result.what = interface(result);
        else
            fail("a definition");
    }
    expect(";");
}

// The body in braces of a module or an interface.
std::vector<tree::Definition> Parser::body(bool ofInterface) {
    expect("{");
    std::vector<tree::Definition> result = definitions(ofInterface);
    expect("}");
    return result;
}

tree::Module Parser::module(tree::Definition& result) {
    result.name = identifier("the name of the module");
    return {body(false)};
}

tree::Interface Parser::interface(tree::Definition& result) {
    tree::Interface interface;
    result.name = identifier("the name of the interface");
    // A forward declaration; the ';' is taken by definition().
    if (token_.is(";")) {
        interface.forward = true;
        return interface;
    }
    if (accept(":"))
        interface.bases = scopedNames();
    interface.body = body(true);
    return interface;
}

tree::Constant Parser::constant(tree::Definition& result) {
    advance();
    // The name comes behind the type, so `result` gets it here and not in begin().
    tree::Constant constant{type(false), nullptr};
    result.name = identifier("the name of the constant");
    expect("=");
    constant.value = expression();
    return constant;
}

tree::Typedef Parser::typeAlias() {
    advance();
    tree::Typedef alias{type(true), {}};
    alias.declarators = declarators();
    return alias;
}

tree::Operation Parser::operation(tree::Definition& result) {
    tree::Operation operation;
    operation.oneway = accept(Keyword::oneway);
    // Only a result can be void, so it is not among the types.
    if (token_.is(Keyword::void_)) {
        operation.result = {token_.position, tree::Basic::void_};
        advance();
    } else {
        operation.result = type(false);
    }
    result.name = identifier("the name of the operation");
    expect("(");
    if (!token_.is(")")) {
        do
            operation.parameters.push_back(parameter());
        while (accept(","));
    }
    expect(")");
    if (accept(Keyword::raises)) {
        expect("(");
        operation.raises = scopedNames();
        expect(")");
    }
    if (accept(Keyword::context))
        operation.contexts = contexts();
    return operation;
}

tree::Parameter Parser::parameter() {
    tree::Parameter parameter;
    if (accept(Keyword::in))
        parameter.direction = tree::Parameter::Direction::in;
    else if (accept(Keyword::out))
        parameter.direction = tree::Parameter::Direction::out;
    else if (accept(Keyword::inout))
        parameter.direction = tree::Parameter::Direction::inout;
    else
        fail("'in', 'out' or 'inout'");
    parameter.type = type(false);
    parameter.name = identifier("the name of the parameter");
    return parameter;
}

std::vector<tree::Operation::Context> Parser::contexts() {
    std::vector<tree::Operation::Context> contexts;
    expect("(");
    do {
        if (token_.kind != Token::Kind::string)
            fail("a string");
        const Position position = token_.position;
        // Joins strings that follow each other, so the position was taken before.
        const tree::Literal text = literal();
        contexts.push_back({position, std::get<std::string>(text.value)});
    } while (accept(","));
    expect(")");
    return contexts;
}

tree::Attribute Parser::attribute() {
    tree::Attribute attribute;
    attribute.readonly = accept(Keyword::readonly);
    if (!accept(Keyword::attribute))
        fail("'attribute'");
    attribute.type = type(false);
    do
        attribute.names.push_back(identifier("the name of the attribute"));
    while (accept(","));
    return attribute;
}

// --- Names

tree::Identifier Parser::identifier(const char* what) {
    if (token_.kind != Token::Kind::word)
        fail(what);
    // A leading underscore lets a keyword be used as a name; it is no part of the name.
    const bool escaped = token_.text.starts_with('_');
    const std::string_view text = token_.text.substr(escaped ? 1 : 0);
    // An escaped word is looked up with its underscore, so it is never a keyword here.
    if (!token_.is(Keyword::none))
        failAt(token_.position,
               "'" + std::string(text) + "' is a keyword; as a name write '_" + std::string(text) + "'");
    // What is left must be a name by itself: "_", "__x" and "_1" are not.
    if (text.empty() || text.starts_with('_') || (text.front() >= '0' && text.front() <= '9'))
        failAt(token_.position, "'" + std::string(token_.text) + "' is no name");
    // Names that differ from a keyword only in case are errors in IDL; escaping is what makes them names.
    if (const char* word = escaped ? nullptr : keywordInOtherCase(text))
        failAt(token_.position,
               "'" + std::string(text) + "' differs from the keyword '" + word + "' only in case");
    tree::Identifier result{std::string(text), escaped, token_.position};
    advance();
    return result;
}

tree::ScopedName Parser::scopedName() {
    tree::ScopedName name;
    name.position = token_.position;
    name.global = accept("::");
    do {
        if (!name.parts.empty() && token_.is(Keyword::object)) { // CORBA::Object
            name.parts.push_back({"Object", false, token_.position});
            advance();
        } else {
            name.parts.push_back(identifier("a name"));
        }
    } while (accept("::"));
    return name;
}

std::vector<tree::ScopedName> Parser::scopedNames() {
    std::vector<tree::ScopedName> names;
    do
        names.push_back(scopedName());
    while (accept(","));
    return names;
}

} // namespace harbidl
