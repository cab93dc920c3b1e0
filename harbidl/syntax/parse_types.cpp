#include "syntax/parser.h"

namespace harbidl {

// A struct, union or enum may be defined where `mayDefine`.
tree::Type Parser::type(bool mayDefine) {
    const Level level(*this);
    const Position position = token_.position;
    switch (token_.keyword) {
    case Keyword::string: return {position, stringType(false)};
    case Keyword::wstring: return {position, stringType(true)};
    case Keyword::sequence: return {position, sequenceType()};
    case Keyword::struct_:
    case Keyword::union_:
    case Keyword::enum_: {
        if (!mayDefine)
            failAt(position, "a type cannot be defined here");
        // Native is a placeholder, replaced by definedType as soon as it is known what is defined.
        auto defined = std::make_unique<tree::Definition>(tree::Definition{position, {}, {}, tree::Native{}});
        definedType(*defined);
        return {position, std::move(defined)};
    }
    case Keyword::none:
        // `none` is also the keyword of every token that is no word.
        if (token_.kind == Token::Kind::word || token_.is("::"))
            return {position, scopedName()};
        fail("a type");
    default: return {position, basicType()};
    }
}

tree::Basic Parser::basicType() {
    const Keyword keyword = token_.keyword;
    switch (keyword) {
    case Keyword::unsigned_: advance(); return unsignedType();
    case Keyword::long_:
        advance();
        // Said by name here. Without this the message would ask for the name of a member.
        if (token_.is(Keyword::double_))
            failAt(previous_.position, "'long double' is not part of the language of this compiler");
        return accept(Keyword::long_) ? tree::Basic::longLong : tree::Basic::long_;
    case Keyword::short_: advance(); return tree::Basic::short_;
    case Keyword::float_: advance(); return tree::Basic::float_;
    case Keyword::double_: advance(); return tree::Basic::double_;
    case Keyword::boolean: advance(); return tree::Basic::boolean;
    case Keyword::char_: advance(); return tree::Basic::char_;
    case Keyword::wchar: advance(); return tree::Basic::wchar;
    case Keyword::octet: advance(); return tree::Basic::octet;
    case Keyword::any: advance(); return tree::Basic::any;
    case Keyword::object: advance(); return tree::Basic::object;
    default: fail("a type");
    }
}

tree::Basic Parser::unsignedType() {
    if (accept(Keyword::short_))
        return tree::Basic::unsignedShort;
    if (!accept(Keyword::long_))
        fail("'short' or 'long'");
    return accept(Keyword::long_) ? tree::Basic::unsignedLongLong : tree::Basic::unsignedLong;
}

tree::String Parser::stringType(bool wide) {
    advance();
    tree::String string;
    string.wide = wide;
    if (accept("<")) {
        string.bound = bound();
        // A bound may end in ">>" when the string is the last part of a sequence's type.
        expectAngle();
    }
    return string;
}

tree::Sequence Parser::sequenceType() {
    advance();
    tree::Sequence sequence;
    expect("<");
    // type() opens a level, so the nesting of sequences is bounded there.
    sequence.element = std::make_unique<tree::Type>(type(false));
    if (accept(","))
        sequence.bound = bound();
    expectAngle();
    return sequence;
}

// A struct, union or enum with its name.
void Parser::definedType(tree::Definition& result) {
    const Keyword keyword = token_.keyword;
    advance();
    result.name = identifier("the name of the type");
    if (keyword == Keyword::enum_) {
        result.what = enumeration();
        return;
    }
    // Valid in later versions of the language, hence a message of its own.
    if (token_.is(";"))
        failAt(result.position, "forward declarations of structs and unions are not part of the language of "
                                "this compiler");
    if (keyword == Keyword::struct_)
        result.what = structure();
    else
        result.what = unionType();
}

tree::Struct Parser::structure() {
    const Position brace = token_.position;
    tree::Struct structure{members()};
    // Members that could not be read are missing as well; their errors have been shown.
    if (structure.members.empty() && !diagnostics_.failed())
        diagnostics_.error(brace, "a struct needs at least one member");
    return structure;
}

std::vector<tree::Member> Parser::members() {
    std::vector<tree::Member> result;
    expect("{");
    untilClosed([&] {
        // Taken before the type is read: the lexer keeps the comment of the last token only.
        std::string comment = lexer_.comment();
        tree::Member member{std::move(comment), type(true), {}};
        member.declarators = declarators();
        expect(";");
        result.push_back(std::move(member));
    });
    return result;
}

tree::Union Parser::unionType() {
    tree::Union result;
    if (!accept(Keyword::switch_))
        fail("'switch'");
    expect("(");
    // An enum may be defined in place. Whether the type can be one of a discriminator is checked by the
    // model.
    result.discriminator = type(true);
    expect(")");
    expect("{");
    const Position begin = token_.position;
    untilClosed([&] { result.branches.push_back(branch()); });
    // An empty union is an error only when the branches were not lost to other errors.
    if (result.branches.empty() && !diagnostics_.failed())
        diagnostics_.error(begin, "a union needs at least one branch");
    return result;
}

tree::Branch Parser::branch() {
    tree::Branch branch;
    branch.comment = lexer_.comment();
    while (token_.is(Keyword::case_) || token_.is(Keyword::default_)) {
        branch.labelPositions.push_back(token_.position);
        // A null label stands for `default`. Positions are kept beside, since a null has none.
        branch.labels.push_back(accept(Keyword::default_) ? nullptr : (advance(), expression()));
        expect(":");
    }
    if (branch.labels.empty())
        fail("'case' or 'default'");
    branch.type = type(true);
    branch.declarator = declarator();
    expect(";");
    return branch;
}

tree::Enum Parser::enumeration() {
    tree::Enum result;
    expect("{");
    do {
        std::string comment = lexer_.comment();
        // Not through untilClosed: an enumerator has no ';', so an error loses the whole enum.
        result.enumerators.push_back({std::move(comment), identifier("the name of an enumerator")});
    } while (accept(","));
    expect("}");
    return result;
}

std::vector<tree::Declarator> Parser::declarators() {
    std::vector<tree::Declarator> result;
    do
        result.push_back(declarator());
    while (accept(","));
    return result;
}

tree::Declarator Parser::declarator() {
    tree::Declarator result;
    result.name = identifier("a name");
    while (accept("[")) {
        result.dimensions.push_back(expression());
        expect("]");
    }
    return result;
}

} // namespace harbidl
