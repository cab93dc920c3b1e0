#include "model/builder.h"

#include <algorithm>
#include <utility>

namespace harbidl {

void Builder::define(Place place, const tree::Definition& definition, const tree::Interface& interface) {
    Interface* const declared = declareInterface(place, definition);
    if (!declared)
        return;
    // Any number of forward declarations is allowed, also behind the definition, where they say nothing.
    if (interface.forward) {
        if (declared->complete)
            return;
        auto* const forward = make<Forward>(definition.name, definition.comment);
        forward->interface = declared;
        place.contents.push_back(forward);
        return;
    }
    if (declared->complete) {
        diagnostics_.error(definition.name.position, "'" + declared->name + "' is declared twice",
                           declared->position, "first declared here");
        return;
    }
    // Messages and the generator use the position of the definition. The repository id is kept from the
    // forward declaration.
    declared->position = definition.name.position;
    declared->file = source_.fileAt(definition.name.position);
    declared->comment = definition.comment;
    addBases(*declared, place.scope, interface.bases);
    // Done before the body, so that errors are reported in the order of the text.
    names_.checkInherited(*declared);
    place.contents.push_back(declared);
    std::string prefix = ids_.enter(declared->file);
    define({*declared, declared->contents}, interface.body);
    ids_.leave(declared->file, std::move(prefix));
    // Set last, so that no interface can inherit from this one before.
    declared->complete = true;
}

// The interface, which may have been declared before. Null after an error.
Interface* Builder::declareInterface(Place place, const tree::Definition& definition) {
    Declaration* const known = Names::own(place.scope, definition.name.text);
    if (known && known->kind == Declaration::Kind::interface && known->name == definition.name.text)
        return static_cast<Interface*>(known);
    auto* const declared = declare<Interface>(place.scope, definition.name, {});
    if (declared) {
        declared->type = {TypeKind::interface, 0, nullptr, declared, 8, true, false};
        // Each interface is listed, declared forward or not; those defined are complete in the end.
        forward_.push_back(declared);
    }
    return declared;
}

void Builder::addBases(Interface& interface, Scope& scope, const std::vector<tree::ScopedName>& names) {
    for (const tree::ScopedName& name : names) {
        const Declaration* declaration = names_.find(scope, name);
        // An alias of an interface will do.
        if (declaration && declaration->kind == Declaration::Kind::alias)
            declaration = unaliased(static_cast<const Alias*>(declaration)->type).declaration;
        // Not found, or an alias of something without a name such as a sequence.
        if (!declaration)
            continue;
        const auto* base = dynamic_cast<const Interface*>(declaration);
        const std::string quoted = "'" + declaration->name + "'";
        if (!base)
            diagnostics_.error(name.position, quoted + " is not an interface", declaration->position,
                               "declared here");
        else if (!base->complete)
            diagnostics_.error(name.position, quoted + " is not defined yet", base->position,
                               "declared here");
        else if (std::find(interface.bases.begin(), interface.bases.end(), base) != interface.bases.end())
            diagnostics_.error(name.position, quoted + " is inherited twice");
        else
            interface.bases.push_back(base);
    }
}

void Builder::define(Place place, const tree::Definition& definition, const tree::Operation& operation) {
    const Type* const result = callType(place, operation.result);
    // An operation is not a scope: its parameters are compared with each other below, and cannot be found by
    // name.
    auto* const declared = declare<Operation>(place.scope, definition.name, definition.comment);
    if (!result || !declared)
        return;
    declared->oneway = operation.oneway;
    declared->result = result;
    addParameters(*declared, place, operation.parameters);
    addRaises(*declared, place, operation.raises);
    for (const tree::Operation::Context& context : operation.contexts) {
        // A final '*' means any continuation; a name that is only '*' is not allowed.
        if (context.text.empty() || context.text.front() == '*')
            diagnostics_.error(context.position, "the name of a context begins with a letter");
        declared->contexts.push_back(context.text);
    }
    checkOneway(*declared, definition.name.position);
    place.contents.push_back(declared);
}

void Builder::define(Place place, const tree::Definition& definition, const tree::Attribute& attribute) {
    const Type* const type = callType(place, attribute.type);
    std::string comment = definition.comment;
    for (const tree::Identifier& name : attribute.names) {
        // Each name is an attribute of its own on the wire.
        auto* const declared = declare<Attribute>(place.scope, name, std::exchange(comment, {}));
        if (!type || !declared)
            continue;
        declared->readonly = attribute.readonly;
        declared->type = type;
        place.contents.push_back(declared);
    }
}

// The type of an argument or result must have a name, so that both sides can construct it.
const Type* Builder::callType(Place place, const tree::Type& type) {
    // Strings need no name, since they have one C++ type. An array cannot be written here at all.
    if (std::holds_alternative<tree::Sequence>(type.what)) {
        diagnostics_.error(type.position, "a sequence needs a name of its own here, by a typedef");
        return nullptr;
    }
    return typeOf(place, type);
}

void Builder::addParameters(Operation& operation, Place place,
                            const std::vector<tree::Parameter>& parameters) {
    for (const tree::Parameter& parameter : parameters) {
        const auto sameName = [&](const Parameter& other) {
            // Names of parameters follow the rule for all names: those that differ only in case are the same.
            return inLowerCase(other.name) == inLowerCase(parameter.name.text);
        };
        if (std::any_of(operation.parameters.begin(), operation.parameters.end(), sameName))
            diagnostics_.error(parameter.name.position, "'" + parameter.name.text + "' is declared twice");
        if (const Type* const type = callType(place, parameter.type))
            operation.parameters.push_back(
                {static_cast<Parameter::Direction>(parameter.direction), type, parameter.name.text});
    }
}

void Builder::addRaises(Operation& operation, Place place, const std::vector<tree::ScopedName>& names) {
    for (const tree::ScopedName& name : names) {
        const Declaration* const declaration = names_.find(place.scope, name);
        if (!declaration)
            continue;
        const std::string quoted = "'" + declaration->name + "'";
        if (declaration->kind != Declaration::Kind::exception) {
            diagnostics_.error(name.position, quoted + " is not an exception", declaration->position,
                               "declared here");
            continue;
        }
        // Of the declarations of this kind all are Structs; the kind has just been checked.
        const auto* exception = static_cast<const Struct*>(declaration);
        if (std::find(operation.raises.begin(), operation.raises.end(), exception) != operation.raises.end())
            diagnostics_.error(name.position, quoted + " is raised twice");
        else
            operation.raises.push_back(exception);
    }
}

void Builder::checkOneway(const Operation& operation, Position position) {
    if (!operation.oneway)
        return;
    const auto isOut = [](const Parameter& parameter) {
        return parameter.direction != Parameter::Direction::in;
    };
    const auto& parameters = operation.parameters;
    // A oneway request has no reply that could contain these.
    if (operation.result->kind != TypeKind::void_ ||
        std::any_of(parameters.begin(), parameters.end(), isOut) || !operation.raises.empty())
        diagnostics_.error(position,
                           "a oneway operation gives nothing back: no result, out argument or exception");
}

} // namespace harbidl
