#pragma once

#include "syntax/source_text.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

// What a definition says, word for word. Names are not looked up, and nothing is checked but the grammar.

namespace harbidl::tree {

struct Identifier {
    std::string text; // without the underscore of an escaped one
    bool escaped = false;
    Position position;
};

struct ScopedName {
    bool global = false; // begins with "::"
    std::vector<Identifier> parts;
    Position position;
};

// --- Expressions

struct Literal {
    std::variant<uint64_t, double, bool, unsigned char, char16_t, std::string, std::u16string> value;
};

struct Expression;
using ExpressionPtr = std::unique_ptr<Expression>;

// What stands between two operands, or before one. Shifts are '<' and '>'.
struct Unary {
    char operation;
    ExpressionPtr operand;
};

// Operands of one level of precedence, from left to right: first, then each with what stands before it.
struct Chain {
    struct Link {
        char operation;
        Position position;
        ExpressionPtr operand;
    };
    ExpressionPtr first;
    std::vector<Link> links;
};

struct Expression {
    Position position;
    std::variant<Literal, ScopedName, Unary, Chain> what;
};

// --- Types

enum class Basic {
    void_,
    short_,
    long_,
    longLong,
    unsignedShort,
    unsignedLong,
    unsignedLongLong,
    float_,
    double_,
    boolean,
    char_,
    wchar,
    octet,
    any,
    object,
};

struct Definition;
struct Type;

struct String {
    bool wide = false;
    ExpressionPtr bound; // null for none, as below
};

struct Sequence {
    std::unique_ptr<Type> element;
    ExpressionPtr bound;
};

// A struct, union or enum that is defined where its type is needed.
using InlineType = std::unique_ptr<Definition>;

struct Type {
    Position position;
    std::variant<Basic, ScopedName, String, Sequence, InlineType> what;
};

// A name that gets a type, with the dimensions of an array.
struct Declarator {
    Identifier name;
    std::vector<ExpressionPtr> dimensions;
};

// --- Definitions

struct Member {
    std::string comment;
    Type type;
    std::vector<Declarator> declarators;
};

struct Struct {
    std::vector<Member> members;
};

struct Exception {
    std::vector<Member> members;
};

// One branch; a null label is "default".
struct Branch {
    std::string comment;
    std::vector<ExpressionPtr> labels;
    std::vector<Position> labelPositions;
    Type type;
    Declarator declarator;
};

struct Union {
    Type discriminator;
    std::vector<Branch> branches;
};

struct Enum {
    struct Enumerator {
        std::string comment;
        Identifier name;
    };
    std::vector<Enumerator> enumerators;
};

struct Typedef {
    Type type;
    std::vector<Declarator> declarators;
};

struct Constant {
    Type type;
    ExpressionPtr value;
};

struct Native {};

struct Parameter {
    enum class Direction { in, out, inout };
    Direction direction;
    Type type;
    Identifier name;
};

struct Operation {
    bool oneway = false;
    Type result;
    std::vector<Parameter> parameters;
    std::vector<ScopedName> raises;
    struct Context {
        Position position;
        std::string text;
    };
    std::vector<Context> contexts;
};

struct Attribute {
    bool readonly = false;
    Type type;
    std::vector<Identifier> names;
};

struct Interface {
    bool forward = false;
    std::vector<ScopedName> bases;
    std::vector<Definition> body;
};

struct Module {
    std::vector<Definition> body;
};

// #pragma prefix, ID and version; the first without a name, the last with its two numbers as text.
struct Pragma {
    enum class Kind { prefix, id, version, header };
    Kind kind;
    ScopedName name;
    std::string text;
};

struct Definition {
    Position position;   // of its first word
    std::string comment; // that stands directly above
    Identifier name;     // empty where the declarators have the names
    std::variant<Module, Interface, Constant, Typedef, Struct, Union, Enum, Exception, Native, Operation,
                 Attribute, Pragma>
        what;
};

} // namespace harbidl::tree
