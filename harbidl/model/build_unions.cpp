#include "model/builder.h"

#include <algorithm>
#include <utility>

namespace harbidl {

namespace {

// Conversion of labels to numbers and back.
Integer numberOf(const Value& label) {
    if (const auto* enumerator = std::get_if<const Enumerator*>(&label))
        return (*enumerator)->value;
    if (const auto* number = std::get_if<Integer>(&label))
        return *number;
    if (const auto* boolean = std::get_if<bool>(&label))
        return *boolean ? 1 : 0;
    if (const auto* character = std::get_if<unsigned char>(&label))
        return *character;
    // The evaluator gives only values of the discriminator's type, and this is the last one that is left.
    return std::get<char16_t>(label);
}

Value labelOf(const Type& type, Integer number) {
    switch (type.kind) {
    case TypeKind::enumeration:
        return static_cast<const Enum*>(type.declaration)->enumerators[static_cast<size_t>(number)];
    case TypeKind::boolean: return number != 0;
    case TypeKind::char_: return static_cast<unsigned char>(number);
    case TypeKind::wchar: return static_cast<char16_t>(number);
    default: return number;
    }
}

// A label whose number is not in `taken`; nothing when all are taken.
std::optional<Value> anotherLabel(const Type& type, const std::set<Integer>& taken) {
    // For an enum this is an empty range, replaced below by the numbers of its enumerators.
    Range range = rangeOf(type.kind);
    if (type.kind == TypeKind::enumeration)
        range = {0, static_cast<Integer>(static_cast<const Enum*>(type.declaration)->enumerators.size()) - 1};
    // From 0 upwards, then downwards: at most as many steps as there are labels.
    Integer number = 0;
    while (number <= range.last && taken.contains(number))
        ++number;
    // All from 0 upwards are taken. Only signed types have more.
    if (number > range.last) {
        number = -1;
        while (number >= range.first && taken.contains(number))
            --number;
    }
    if (number < range.first)
        return std::nullopt;
    return labelOf(type, number);
}

} // namespace

void Builder::define(Place place, const tree::Definition& definition, const tree::Union& union_) {
    auto* const declared = declare<Union>(place.scope, definition.name, definition.comment);
    if (!declared)
        return;
    declared->type = {TypeKind::union_, 0, nullptr, declared};
    // Entered even when it is refused, since the model is not used for code then. Types defined in its
    // branches go to its own list.
    place.contents.push_back(declared);
    declared->discriminator = completeType({*declared, declared->contents}, union_.discriminator);
    if (declared->discriminator && !isDiscriminator(unaliased(*declared->discriminator).kind)) {
        diagnostics_.error(union_.discriminator.position,
                           "a union cannot be switched by " + typeName(*declared->discriminator));
        // The branches are still processed to report their own errors; their labels are not computed.
        declared->discriminator = nullptr;
    }
    std::set<Integer> taken;
    bool hasDefault = false;
    for (const tree::Branch& branch : union_.branches)
        defineBranch(*declared, branch, taken, hasDefault);
    // A part has been refused. The union stays incomplete, and errors about labels below would be misleading.
    if (!declared->discriminator || declared->branches.size() != union_.branches.size())
        return;
    declared->unlabelled = anotherLabel(unaliased(*declared->discriminator), taken);
    if (hasDefault && !declared->unlabelled)
        diagnostics_.error(declared->position, "the labels leave nothing for \"default\"");
    // Without a default branch, and with labels left over, a value may have no branch.
    uint64_t minimum = declared->unlabelled && !hasDefault ? 0 : UINT32_MAX;
    for (const Branch* branch : declared->branches)
        minimum = std::min<uint64_t>(minimum, branch->type->minimumOctets);
    complete(*declared, minimum + declared->discriminator->minimumOctets, declared->position);
}

void Builder::defineBranch(Union& owner, const tree::Branch& branch, std::set<Integer>& taken,
                           bool& hasDefault) {
    const Place inside{owner, owner.contents};
    std::vector<std::optional<Value>> labels;
    for (size_t i = 0; i < branch.labels.size(); ++i) {
        // `default` keeps its position among the labels, because a branch may have others too.
        if (!branch.labels[i]) {
            if (std::exchange(hasDefault, true))
                diagnostics_.error(branch.labelPositions[i], "this union has a \"default\" already");
            labels.emplace_back();
        } else if (owner.discriminator) {
            std::optional<Value> label = evaluator_.value(owner, *branch.labels[i], *owner.discriminator);
            // Labels are compared as numbers, so that 'a' and '\x61' are one.
            if (label && !taken.insert(numberOf(*label)).second)
                diagnostics_.error(branch.labels[i]->position, "this label stands at another branch already");
            labels.push_back(std::move(label));
        }
    }
    const Type* const type = declaredType(inside, completeType(inside, branch.type), branch.declarator);
    // Declared even without a type, as with any member: the name is taken.
    auto* const declared = declare<Branch>(owner, branch.declarator.name, branch.comment);
    if (!type || !declared)
        return;
    declared->type = type;
    declared->labels = std::move(labels);
    owner.branches.push_back(declared);
    owner.type.variable = owner.type.variable || type->variable;
    owner.type.native = owner.type.native || type->native;
}

} // namespace harbidl
