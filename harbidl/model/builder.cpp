#include "model/builder.h"

#include <utility>

namespace harbidl {

Model::Model() {
    auto global = std::make_unique<Module>();
    auto contents = std::make_unique<Opening>();
    global_ = global.get();
    contents_ = contents.get();
    // The text outside of all modules is treated as a piece of the outermost one.
    contents_->module = global_;
    declarations_.push_back(std::move(global));
    declarations_.push_back(std::move(contents));
}

Model Builder::build(const std::vector<tree::Definition>& specification) {
    define({*model_.global_, model_.contents_->contents}, specification);
    // Done last, because a definition may come anywhere after its forward declarations.
    checkForwardDeclarations();
    return std::move(model_);
}

void Builder::define(Place place, const std::vector<tree::Definition>& definitions) {
    for (const tree::Definition& definition : definitions)
        define(place, definition);
}

void Builder::define(Place place, const tree::Definition& definition) {
    std::visit([&](const auto& what) { define(place, definition, what); }, definition.what);
}

void Builder::define(Place place, const tree::Definition& definition, const tree::Module& module) {
    Module* const opened = moduleNamed(place.scope, definition);
    if (!opened)
        return;
    auto* const piece = make<Opening>(definition.name, definition.comment);
    piece->scope = &place.scope;
    piece->module = opened;
    place.contents.push_back(piece);
    // A #pragma prefix in this part of the module is valid to its end.
    std::string prefix = ids_.enter(piece->file);
    define({*opened, piece->contents}, module.body);
    ids_.leave(piece->file, std::move(prefix));
}

// The module that has been opened before, or a new one. Null after an error.
Module* Builder::moduleNamed(Scope& scope, const tree::Definition& definition) {
    Declaration* const known = Names::own(scope, definition.name.text);
    // The exact name: one that differs in case is left to declare(), which reports it.
    if (known && known->kind == Declaration::Kind::module && known->name == definition.name.text)
        return static_cast<Module*>(known);
    return declare<Module>(scope, definition.name, {});
}

void Builder::define(Place place, const tree::Definition& definition, const tree::Constant& constant) {
    const Type* const type = typeOf(place, constant.type);
    if (!type)
        return;
    // Computed before the constant is declared, so that its expression cannot use it.
    std::optional<Value> value = evaluator_.value(place.scope, *constant.value, *type);
    auto* const declared = declare<Constant>(place.scope, definition.name, definition.comment);
    // Without a value the name stays declared, so that its uses cause no further errors.
    if (!value || !declared)
        return;
    declared->type = type;
    declared->value = std::move(*value);
    place.contents.push_back(declared);
}

// In the module CORBA two names are types that the compiler knows.
void Builder::define(Place place, const tree::Definition& definition, const tree::Native&) {
    auto* const declared = declare<Native>(place.scope, definition.name, definition.comment);
    if (!declared)
        return;
    // Its marshalling code is written by hand and unknown here: it takes at least one octet and has variable
    // size.
    declared->type = {TypeKind::native, 0, nullptr, declared, 1, true, true};
    declared->complete = true;
    if (declared->scopedName() == "CORBA::TypeCode")
        declared->type = {TypeKind::typeCode, 0, nullptr, nullptr, 4, true, false};
    else if (declared->scopedName() == "CORBA::Principal")
        declared->type = {TypeKind::principal, 0, nullptr, nullptr, 4, true, false};
    place.contents.push_back(declared);
}

void Builder::define(Place place, const tree::Definition& definition, const tree::Pragma& pragma) {
    // A prefix and a header are valid for the file that contains them, not for files that include it.
    const uint32_t file = source_.fileAt(definition.position);
    switch (pragma.kind) {
    case tree::Pragma::Kind::prefix: ids_.prefix(file, pragma.text); break;
    case tree::Pragma::Kind::header: model_.headers_.push_back({file, pragma.text}); break;
    default: ids_.apply(place.scope, pragma);
    }
}

void Builder::checkForwardDeclarations() {
    for (const Interface* interface : forward_) {
        // Otherwise the model would contain an interface that looks as if it were defined without bases and
        // members.
        if (!interface->complete)
            diagnostics_.error(interface->position, "the interface '" + interface->name +
                                                        "' is declared here and defined nowhere");
    }
}

} // namespace harbidl
