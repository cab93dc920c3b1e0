#include "model/builder.h"

#include <algorithm>
#include <utility>

namespace harbidl {

namespace {

constexpr auto kindOf = [](tree::Basic basic) {
    // In the order of tree::Basic, which is the index.
    constexpr TypeKind kinds[] = {TypeKind::void_,
                                  TypeKind::short_,
                                  TypeKind::long_,
                                  TypeKind::longLong,
                                  TypeKind::unsignedShort,
                                  TypeKind::unsignedLong,
                                  TypeKind::unsignedLongLong,
                                  TypeKind::float_,
                                  TypeKind::double_,
                                  TypeKind::boolean,
                                  TypeKind::char_,
                                  TypeKind::wchar,
                                  TypeKind::octet,
                                  TypeKind::any,
                                  TypeKind::object};
    return kinds[static_cast<int>(basic)];
};

constexpr uint32_t minimumOf(TypeKind kind) {
    switch (kind) {
    case TypeKind::void_: return 0;
    case TypeKind::boolean:
    case TypeKind::char_:
    case TypeKind::octet: return 1;
    case TypeKind::short_:
    case TypeKind::unsignedShort:
    case TypeKind::wchar: return 2;
    case TypeKind::longLong:
    case TypeKind::unsignedLongLong:
    case TypeKind::double_:
    case TypeKind::object: return 8;
    // Numbers of 32 bits, and all types that begin with a length or a kind.
    default: return 4;
    }
}

// The types that need no declaration, one object for each.
const Type* basicType(TypeKind kind) {
    static const std::vector<Type> types = [] {
        std::vector<Type> all;
        for (int i = 0; i <= static_cast<int>(TypeKind::principal); ++i) {
            const auto basic = static_cast<TypeKind>(i);
            // Kinds from `any` on are held by a pointer or a class, so types that contain them are variable.
            all.push_back({basic, 0, nullptr, nullptr, minimumOf(basic), basic >= TypeKind::any, false});
        }
        return all;
    }();
    // The table never changes, so pointers into it stay valid.
    return &types[static_cast<size_t>(kind)];
}

DeclaredType* declaredTypeOf(Declaration& declaration) {
    if (declaration.kind == Declaration::Kind::exception)
        return nullptr; // an exception is no type of a value
    // A Declaration and a DeclaredType are two bases of one object, so a static cast is not possible.
    return dynamic_cast<DeclaredType*>(&declaration);
}

} // namespace

const Type* Builder::addType(Type type) {
    model_.types_.push_back(std::make_unique<Type>(type));
    return model_.types_.back().get();
}

bool Builder::checkSize(uint64_t minimumOctets, Position position) {
    // Then every part is below 2^31 octets, and sums and products of parts fit in 64 bits.
    if (minimumOctets <= INT32_MAX)
        return true;
    diagnostics_.error(position, "a value of this type takes more than 2^31 octets");
    return false;
}

void Builder::complete(DeclaredType& declared, uint64_t minimumOctets, Position position) {
    // A type that is too large is reported once, not again for each type that contains it.
    declared.type.minimumOctets =
        checkSize(minimumOctets, position) ? static_cast<uint32_t>(minimumOctets) : 0;
    // Set after errors too, so that uses of the type are not reported as uses of an incomplete type.
    declared.complete = true;
}

// --- The use of types

const Type* Builder::typeOf(Place place, const tree::Type& type) {
    if (const auto* basic = std::get_if<tree::Basic>(&type.what))
        return basicType(kindOf(*basic));
    if (const auto* name = std::get_if<tree::ScopedName>(&type.what))
        return namedType(place.scope, *name);
    if (const auto* string = std::get_if<tree::String>(&type.what))
        return stringType(place.scope, *string);
    if (const auto* sequence = std::get_if<tree::Sequence>(&type.what))
        return sequenceType(place, *sequence);
    return inlineType(place, *std::get<tree::InlineType>(type.what));
}

const Type* Builder::namedType(Scope& scope, const tree::ScopedName& name) {
    const std::string& first = name.parts.front().text;
    // A definition may declare such a name itself; then it means that.
    if (name.parts.size() == 1 && !Names::knows(scope, first)) {
        // Older definitions use these like keywords.
        if (first == "TypeCode")
            return basicType(TypeKind::typeCode);
        if (first == "Principal")
            return basicType(TypeKind::principal);
    }
    // `Object` is a keyword and cannot be declared, so no module CORBA could contain it.
    if (name.parts.size() == 2 && first == "CORBA" && name.parts.back().text == "Object")
        return basicType(TypeKind::object);
    Declaration* const declaration = names_.find(scope, name);
    if (!declaration)
        return nullptr;
    // A declaration whose type could not be determined, such as an alias of an undeclared name, has already
    // been reported.
    if (const DeclaredType* type = declaredTypeOf(*declaration))
        return type->type.declaration || type->complete ? &type->type : nullptr;
    diagnostics_.error(name.position, "'" + declaration->name + "' is not a type", declaration->position,
                       "declared here");
    return nullptr;
}

const Type* Builder::stringType(Scope& scope, const tree::String& string) {
    const TypeKind kind = string.wide ? TypeKind::wstring : TypeKind::string;
    // On the wire a string begins with its length, four octets.
    if (!string.bound)
        return addType({kind, 0, nullptr, nullptr, 4, true, false});
    const std::optional<uint32_t> bound = evaluator_.bound(scope, *string.bound);
    return bound ? addType({kind, *bound, nullptr, nullptr, 4, true, false}) : nullptr;
}

// The element may be an enclosing type; this is how types become recursive.
const Type* Builder::sequenceType(Place place, const tree::Sequence& sequence) {
    const Type* const element = typeOf(place, *sequence.element);
    uint32_t bound = 0;
    // Looked at even if the element is wrong, so that both errors are shown.
    if (sequence.bound) {
        const std::optional<uint32_t> given = evaluator_.bound(place.scope, *sequence.bound);
        if (!given)
            return nullptr;
        bound = *given;
    }
    return element ? addType({TypeKind::sequence, bound, element, nullptr, 4, true, element->native})
                   : nullptr;
}

const Type* Builder::inlineType(Place place, const tree::Definition& definition) {
    const size_t before = place.contents.size();
    define(place, definition);
    if (place.contents.size() == before)
        return nullptr; // after an error
    // The grammar allows a struct, a union or an enum here, each of which is a type.
    const DeclaredType* const declared = declaredTypeOf(*place.contents.back());
    return declared->complete ? &declared->type : nullptr;
}

const Type* Builder::completeType(Place place, const tree::Type& type) {
    const Type* const result = typeOf(place, type);
    // A member of an interface type is a reference, so the interface may be incomplete. Types without a name
    // are complete once they exist; recursion goes through a sequence.
    if (!result || !result->declaration || result->kind == TypeKind::interface)
        return result;
    // This class has made all declarations of the model and may change them; users of the model see them as
    // const.
    auto& declaration = const_cast<Declaration&>(*result->declaration);
    if (declaredTypeOf(declaration)->complete)
        return result;
    // An enclosing type is still incomplete. Any other incomplete type is a union that was refused, whose
    // error has been reported.
    const Scope* around = &place.scope;
    while (around && around != &declaration)
        around = around->scope;
    if (around)
        diagnostics_.error(type.position,
                           "'" + declaration.name + "' cannot contain itself other than in a sequence",
                           declaration.position, "it is still being declared");
    return nullptr;
}

const Type* Builder::declaredType(Place place, const Type* type, const tree::Declarator& declarator) {
    std::vector<uint32_t> dimensions;
    for (const tree::ExpressionPtr& dimension : declarator.dimensions) {
        const std::optional<uint32_t> length = evaluator_.bound(place.scope, *dimension);
        if (!length)
            return nullptr;
        // All are computed before the first array type is made: `long a[2][3]` is an array of 2 of (array of
        // 3), so the types are made from the last to the first.
        dimensions.push_back(*length);
    }
    for (auto length = dimensions.rbegin(); type && length != dimensions.rend(); ++length) {
        // Both factors have at most 32 bits, so the product fits.
        const uint64_t octets = uint64_t{type->minimumOctets} * *length;
        if (!checkSize(octets, declarator.name.position))
            return nullptr;
        type = addType({TypeKind::array, *length, type, nullptr, static_cast<uint32_t>(octets),
                        type->variable, type->native});
    }
    return type;
}

// --- Declarations of types

void Builder::define(Place place, const tree::Definition& definition, const tree::Typedef& alias) {
    const Type* const type = completeType(place, alias.type);
    std::string comment = definition.comment;
    for (const tree::Declarator& declarator : alias.declarators) {
        const Type* const original = declaredType(place, type, declarator);
        // Declared even without a type, so that uses of the name cause no further errors. The comment is
        // given to the first name of the list.
        auto* const declared = declare<Alias>(place.scope, declarator.name, std::exchange(comment, {}));
        if (!original || !declared)
            continue;
        declared->original = original;
        // `real` gives the original type in one step, however long the chain of aliases is.
        declared->real = &unaliased(*original);
        declared->type = {TypeKind::alias, 0, nullptr, declared, original->minimumOctets, original->variable,
                          original->native};
        declared->complete = true;
        place.contents.push_back(declared);
    }
}

void Builder::define(Place place, const tree::Definition& definition, const tree::Struct& structure) {
    auto* const declared =
        declare<Struct>(place.scope, definition.name, definition.comment, Declaration::Kind::structure);
    if (!declared)
        return;
    declared->type = {TypeKind::structure, 0, nullptr, declared};
    defineMembers(*declared, structure.members);
    place.contents.push_back(declared);
}

void Builder::define(Place place, const tree::Definition& definition, const tree::Exception& exception) {
    auto* const declared =
        declare<Struct>(place.scope, definition.name, definition.comment, Declaration::Kind::exception);
    if (!declared)
        return;
    declared->type = {TypeKind::structure, 0, nullptr, declared};
    defineMembers(*declared, exception.members);
    place.contents.push_back(declared);
}

void Builder::defineMembers(Struct& owner, const std::vector<tree::Member>& members) {
    const Place inside{owner, owner.contents};
    uint64_t minimum = 0;
    for (const tree::Member& member : members) {
        const Type* const type = completeType(inside, member.type);
        std::string comment = member.comment;
        for (const tree::Declarator& declarator : member.declarators) {
            const Type* const itsType = declaredType(inside, type, declarator);
            auto* const declared = declare<Member>(owner, declarator.name, std::exchange(comment, {}));
            if (!itsType || !declared)
                continue;
            declared->type = itsType;
            owner.members.push_back(declared);
            // 64 bits cannot overflow: each member adds at most 2^31, and a text of 1 GiB cannot have 2^33
            // members.
            minimum += itsType->minimumOctets;
            owner.type.variable = owner.type.variable || itsType->variable;
            owner.type.native = owner.type.native || itsType->native;
        }
    }
    complete(owner, minimum, owner.position);
}

void Builder::define(Place place, const tree::Definition& definition, const tree::Enum& enumeration) {
    auto* const declared = declare<Enum>(place.scope, definition.name, definition.comment);
    if (!declared)
        return;
    declared->type = {TypeKind::enumeration, 0, nullptr, declared, 4, false, false};
    for (const tree::Enum::Enumerator& one : enumeration.enumerators) {
        // Declared in the scope around the enum, as in C: in IDL an enum is not a scope.
        auto* const enumerator = declare<Enumerator>(place.scope, one.name, one.comment);
        if (!enumerator)
            continue;
        enumerator->of = declared;
        // The value on the wire is the place in the list, from 0.
        enumerator->value = static_cast<uint32_t>(declared->enumerators.size());
        declared->enumerators.push_back(enumerator);
    }
    declared->complete = true;
    place.contents.push_back(declared);
}

} // namespace harbidl
