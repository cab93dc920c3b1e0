#pragma once

#include "model/evaluator.h"
#include "model/model.h"
#include "model/repository_ids.h"

namespace harbidl {

// Makes the model from the syntax tree. After an error it continues with the rest.
class Builder {
public:
    Builder(const SourceText& source, Diagnostics& diagnostics)
        : source_(source), diagnostics_(diagnostics), names_(diagnostics), ids_(names_, diagnostics),
          evaluator_(names_, diagnostics) {}

    Model build(const std::vector<tree::Definition>& specification);

private:
    // Where the present definitions are.
    struct Place {
        Scope& scope;
        std::vector<Declaration*>& contents;
    };

    // builder.cpp: whatever stands in a module
    void define(Place place, const std::vector<tree::Definition>& definitions);
    void define(Place place, const tree::Definition& definition);
    void define(Place place, const tree::Definition& definition, const tree::Module& module);
    void define(Place place, const tree::Definition& definition, const tree::Constant& constant);
    void define(Place place, const tree::Definition& definition, const tree::Native& native);
    void define(Place place, const tree::Definition& definition, const tree::Pragma& pragma);
    Module* moduleNamed(Scope& scope, const tree::Definition& definition);
    void checkForwardDeclarations();

    // A new declaration of the model, not yet known by its name.
    template <class D, class... Arguments>
    D* make(const tree::Identifier& name, std::string comment, Arguments... arguments);
    // The same, entered in its scope. Null after an error.
    template <class D, class... Arguments>
    D* declare(Scope& scope, const tree::Identifier& name, std::string comment, Arguments... arguments);

    // build_types.cpp: what is a type, and the use of types
    void define(Place place, const tree::Definition& definition, const tree::Typedef& alias);
    void define(Place place, const tree::Definition& definition, const tree::Struct& structure);
    void define(Place place, const tree::Definition& definition, const tree::Exception& exception);
    void define(Place place, const tree::Definition& definition, const tree::Enum& enumeration);
    void defineMembers(Struct& owner, const std::vector<tree::Member>& members);

    // Null after an error, as is every type that depends on it.
    const Type* typeOf(Place place, const tree::Type& type);
    const Type* namedType(Scope& scope, const tree::ScopedName& name);
    const Type* stringType(Scope& scope, const tree::String& string);
    const Type* sequenceType(Place place, const tree::Sequence& sequence);
    const Type* inlineType(Place place, const tree::Definition& definition);
    // The type of the declarator: an array when it has dimensions.
    const Type* declaredType(Place place, const Type* type, const tree::Declarator& declarator);
    // A type for a member or an element, which must be complete.
    const Type* completeType(Place place, const tree::Type& type);
    const Type* addType(Type type);
    void complete(DeclaredType& declared, uint64_t minimumOctets, Position position);
    bool checkSize(uint64_t minimumOctets, Position position);

    // build_unions.cpp
    void define(Place place, const tree::Definition& definition, const tree::Union& union_);
    void defineBranch(Union& owner, const tree::Branch& branch, std::set<Integer>& taken, bool& hasDefault);
    std::optional<Value> labelNotIn(const Union& owner, const std::set<Integer>& taken) const;

    // build_interfaces.cpp
    void define(Place place, const tree::Definition& definition, const tree::Interface& interface);
    void define(Place place, const tree::Definition& definition, const tree::Operation& operation);
    void define(Place place, const tree::Definition& definition, const tree::Attribute& attribute);
    Interface* declareInterface(Place place, const tree::Definition& definition);
    const Type* callType(Place place, const tree::Type& type);
    void addBases(Interface& interface, Scope& scope, const std::vector<tree::ScopedName>& names);
    void addParameters(Operation& operation, Place place, const std::vector<tree::Parameter>& parameters);
    void addRaises(Operation& operation, Place place, const std::vector<tree::ScopedName>& names);
    void checkOneway(const Operation& operation, Position position);

    const SourceText& source_;
    Diagnostics& diagnostics_;
    Names names_;
    RepositoryIds ids_;
    Evaluator evaluator_;
    Model model_;
    std::vector<Interface*> forward_; // declared, in their order, and perhaps defined by now
};

template <class D, class... Arguments>
D* Builder::make(const tree::Identifier& name, std::string comment, Arguments... arguments) {
    auto made = std::make_unique<D>(arguments...);
    D* const result = made.get();
    Declaration& declaration = *made;
    model_.declarations_.push_back(std::move(made));
    declaration.name = name.text;
    declaration.escaped = name.escaped;
    declaration.position = name.position;
    // The file of the name, since generators make code for the main file only and refer to the others.
    declaration.file = source_.fileAt(name.position);
    declaration.comment = std::move(comment);
    return result;
}

template <class D, class... Arguments>
D* Builder::declare(Scope& scope, const tree::Identifier& name, std::string comment, Arguments... arguments) {
    D* const made = make<D>(name, std::move(comment), arguments...);
    // The model keeps it even then, so that pointers to it stay valid; its `scope` stays null and it is found
    // by no name.
    if (!names_.declare(scope, *made))
        return nullptr;
    ids_.assign(*made);
    return made;
}

} // namespace harbidl
