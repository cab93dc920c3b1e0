#pragma once

#include "model/type.h"
#include "model/value.h"
#include "syntax/source_text.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// What a definition means: every name resolved, every constant computed, every rule checked. model.h holds
// the whole, builder.h makes it. Generators see nothing else.

namespace harbidl {

struct Scope;

// A type as the user would write it, such as "sequence<long>".
std::string typeName(const Type& type);

// Whatever has a name.
struct Declaration {
    enum class Kind {
        module,
        opening, // one piece of a module that may be opened again
        forward, // an interface that is defined further down
        interface,
        structure,
        exception,
        union_,
        enumeration,
        enumerator,
        alias,
        native,
        constant,
        operation,
        attribute,
        member, // of a struct or exception, or a branch of a union
    };

    Kind kind;
    std::string name;
    bool escaped = false;   // written with an underscore
    Scope* scope = nullptr; // that it is declared in; null for the outermost
    Position position;
    uint32_t file = 0; // of SourceText; 0 is the file that was named
    std::string comment;
    std::string id; // the repository id, where the kind has one

    explicit Declaration(Kind ofKind) : kind(ofKind) {}
    Declaration(const Declaration&) = delete;
    Declaration& operator=(const Declaration&) = delete;
    virtual ~Declaration() = default;

    std::string scopedName() const; // "A::B::C"
};

// What names are declared in.
struct Scope : Declaration {
    using Declaration::Declaration;

    // Names are one when they differ in case only.
    std::map<std::string, Declaration*> names;
    // Names of others that have been used here, by what they meant, and that therefore must not get another
    // meaning.
    std::map<std::string, const Declaration*> used;
};

// A declaration that is a type.
struct DeclaredType {
    Type type;
    bool complete = false;
};

struct Module;

// One piece of a module, as it stands in its file.
struct Opening : Declaration {
    Opening() : Declaration(Kind::opening) {}
    Module* module = nullptr;
    std::vector<Declaration*> contents;
};

struct Module : Scope {
    Module() : Scope(Kind::module) {}
};

struct Member : Declaration {
    Member() : Declaration(Kind::member) {}
    const Type* type = nullptr;
};

struct Branch : Member {
    std::vector<std::optional<Value>> labels; // nothing for "default"
    bool isDefault() const;
};

struct Struct : Scope, DeclaredType {
    explicit Struct(Kind ofKind) : Scope(ofKind) {} // a structure or an exception
    std::vector<Declaration*> contents;             // types that are declared in it
    std::vector<Member*> members;
};

struct Union : Scope, DeclaredType {
    Union() : Scope(Kind::union_) {}
    const Type* discriminator = nullptr;
    std::vector<Declaration*> contents;
    std::vector<Branch*> branches;
    // A value of the discriminator that no label names; nothing when the labels name all.
    std::optional<Value> unlabelled;
};

struct Enumerator : Declaration {
    Enumerator() : Declaration(Kind::enumerator) {}
    const struct Enum* of = nullptr;
    uint32_t value = 0;
};

struct Enum : Declaration, DeclaredType {
    Enum() : Declaration(Kind::enumeration) {}
    std::vector<Enumerator*> enumerators;
};

struct Alias : Declaration, DeclaredType {
    Alias() : Declaration(Kind::alias) {}
    const Type* original = nullptr; // which may be an alias too
    const Type* real = nullptr;     // which is none
};

struct Native : Declaration, DeclaredType {
    Native() : Declaration(Kind::native) {}
};

struct Constant : Declaration {
    Constant() : Declaration(Kind::constant) {}
    const Type* type = nullptr;
    Value value;
};

struct Parameter {
    enum class Direction { in, out, inout };
    Direction direction;
    const Type* type;
    std::string name;
};

struct Operation : Declaration {
    Operation() : Declaration(Kind::operation) {}
    bool oneway = false;
    const Type* result = nullptr;
    std::vector<Parameter> parameters;
    std::vector<const Struct*> raises;
    std::vector<std::string> contexts;
};

// On the wire the operations _get_<name> and, unless it is readonly, _set_<name>.
struct Attribute : Declaration {
    Attribute() : Declaration(Kind::attribute) {}
    bool readonly = false;
    const Type* type = nullptr;
};

struct Interface;
struct Forward : Declaration {
    Forward() : Declaration(Kind::forward) {}
    const Interface* interface = nullptr;
};

struct Interface : Scope, DeclaredType {
    Interface() : Scope(Kind::interface) {}
    std::vector<const Interface*> bases;
    std::vector<Declaration*>
        contents; // types, constants, exceptions, operations and attributes, as they stand
};

} // namespace harbidl
