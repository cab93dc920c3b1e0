#include "generate/declarations_code.h"
#include "generate/literals.h"

#include <algorithm>

namespace harbidl {

namespace {

const char* const numberAccessors = R"(
    $type$ $name$() const { return _content.get<$index$>(); }
    void $name$($type$ $value$) { _content.set<$index$>($label$, $value$); }
)";
const char* const textAccessors = R"(
    const $type$* $name$() const { return _content.get<$index$>().in(); }
    void $name$($type$* $value$) { _content.set<$index$>($label$, $value$); }
    void $name$(const $type$* $value$) { _content.set<$index$>($label$, $value$); }
    void $name$(const $holder$& $value$) { _content.set<$index$>($label$, $value$.in()); }
)";
const char* const referenceAccessors = R"(
    $type$ $name$() const { return _content.get<$index$>().in(); }
    void $name$($type$ $value$) { _content.set<$index$>($label$, harbolance::duplicated($value$)); }
)";
const char* const valueAccessors = R"(
    const $type$& $name$() const { return _content.get<$index$>(); }
    $type$& $name$() { return _content.get<$index$>(); }
    void $name$(const $type$& $value$) { _content.set<$index$>($label$, $value$); }
)";
const char* const arrayAccessors = R"(
    const $type$* $name$() const { return _content.get<$index$>().array; }
    $type$* $name$() { return _content.get<$index$>().array; }
    void $name$(const $type$* $value$) { _content.set<$index$>($label$, $value$); }
)";

const char* templateFor(Handling handling) {
    switch (handling) {
    case Handling::string:
    case Handling::wstring: return textAccessors;
    case Handling::reference: return referenceAccessors;
    case Handling::value: return valueAccessors;
    case Handling::array: return arrayAccessors;
    default: return numberAccessors;
    }
}

// The label that a value gets when the branch is set.
const Value& firstLabel(const Union& owner, const Branch& branch) {
    for (const std::optional<Value>& label : branch.labels) {
        if (label)
            return *label;
    }
    // The branch has only `default`. The model refuses a default for which no value is left.
    return *owner.unlabelled;
}

bool hasDefault(const Union& owner) {
    return std::any_of(owner.branches.begin(), owner.branches.end(),
                       [](const Branch* branch) { return branch->isDefault(); });
}

} // namespace

std::string DeclarationsCode::label(const Union& owner, const Value& value) const {
    if (const auto* enumerator = std::get_if<const Enumerator*>(&value))
        // As seen from the class, where the labels are used.
        return unit_.names.seenFrom(owner, **enumerator);
    return cxxLiteral(value, *owner.discriminator);
}

void DeclarationsCode::unionType(const Union& owner) {
    const std::string name = local(owner);
    out_.print("class $name$ {\npublic:", {{"name", name}});
    inside(owner.contents);
    {
        const Emitter::Indented indented(out_);
        for (const Branch* branch : owner.branches)
            anonymousType(*branch);
        out_.blankLine();
        out_.print(R"(
            static constexpr CORBA_ULong _minimum_octets = $octets$;

            $discriminator$ _d() const { return _content.discriminator(); }
            void _d($discriminator$ $value$) { _content.relabel($value$); }

        )",
                   {{"octets", std::to_string(owner.type.minimumOctets)},
                    {"discriminator", unit_.types.plain(owner, *owner.discriminator)},
                    {"value", unit_.names.parameter(owner, "value")}});
        for (size_t i = 0; i < owner.branches.size(); ++i)
            accessors(owner, *owner.branches[i], i);
        // Only then a value can have no branch.
        if (owner.unlabelled && !hasDefault(owner))
            out_.print("void _default() { _content.setNoBranch($label$); }",
                       {{"label", label(owner, *owner.unlabelled)}});
        out_.blankLine();
        out_.print(R"(
            friend TRXostream& operator<<(TRXostream&, const $name$&);
            friend TRXistream& operator>>(TRXistream&, $name$&);

        )",
                   {{"name", name}});
    }
    out_.print("private:");
    {
        const Emitter::Indented indented(out_);
        branchOf(owner);
        std::vector<std::string> arguments{"_branch_of"};
        for (const Branch* branch : owner.branches) {
            const std::string type = isAnonymousSequence(*branch->type)
                                         ? "_" + branch->name + "_seq" + CxxTypes::dimensions(*branch->type)
                                         : unit_.types.whole(owner, *branch->type);
            // A plain array cannot be copied or assigned, so it is held in a struct.
            const bool array = handlingOf(*branch->type) == Handling::array;
            arguments.push_back(array ? "harbolance::ArrayBranch<" + type + ">" : type);
        }
        out_.list("harbolance::UnionValue<", arguments, ", ",
                  "> _content{" + label(owner, firstLabel(owner, *owner.branches.front())) + "};");
    }
    out_.print("};\nusing $name$_var = harbolance::$size$Var<$name$>;",
               {{"name", name}, {"size", owner.type.variable ? "Variable" : "Fixed"}});
    typeCode(owner, owner.type.native);
}

void DeclarationsCode::accessors(const Union& owner, const Branch& branch, size_t index) {
    const Handling handling = handlingOf(*branch.type);
    std::string type = unit_.types.plain(owner, *branch.type);
    // The templates for texts take the character type and add the pointer and const.
    if (handling == Handling::string || handling == Handling::wstring)
        type = handling == Handling::string ? "char" : "CORBA_WChar";
    else if (handling == Handling::array && branch.type->declaration)
        type += "_slice";
    else if (isAnonymousSequence(*branch.type))
        type = "_" + branch.name + "_seq";
    // Without a typedef there is no name for a slice, which the accessors take and return.
    if (handling == Handling::array && !branch.type->declaration) {
        const std::string dimensions = CxxTypes::dimensions(*branch.type);
        out_.print(
            "using _$name$_slice = $element$$inner$;",
            {{"name", branch.name},
             {"element", isAnonymousSequence(*branch.type) ? type : unit_.types.member(owner, *branch.type)},
             {"inner", dimensions.substr(dimensions.find(']') + 1)}});
        type = "_" + branch.name + "_slice";
    }
    out_.comment(branch.comment);
    out_.print(templateFor(handling), {{"name", local(branch)},
                                       {"type", type},
                                       {"holder", type == "char" ? "CORBA_String_var" : "CORBA_WString_var"},
                                       {"index", std::to_string(index)},
                                       {"label", label(owner, firstLabel(owner, branch))},
                                       {"value", unit_.names.parameter(owner, "value")}});
    out_.blankLine();
}

void DeclarationsCode::branchOf(const Union& owner) {
    out_.print("static constexpr size_t _branch_of($discriminator$ _discriminator) {",
               {{"discriminator", unit_.types.plain(owner, *owner.discriminator)}});
    {
        const Emitter::Indented indented(out_);
        // A discriminator without a label is an error only if the type has no other values, as for an enum.
        std::string others = owner.unlabelled ? "harbolance::noBranch" : "harbolance::notAllowed";
        out_.print("switch (_discriminator) {");
        for (size_t i = 0; i < owner.branches.size(); ++i) {
            if (owner.branches[i]->isDefault())
                // Other labels of this branch need no case, because the default case returns this branch.
                others = std::to_string(i);
            else
                cases(owner, *owner.branches[i], i);
        }
        out_.print("default: return $others$;\n}", {{"others", others}});
    }
    out_.print("}");
}

void DeclarationsCode::cases(const Union& owner, const Branch& branch, size_t index) {
    // Not called for a branch with `default`, so every label has a value.
    for (const std::optional<Value>& one : branch.labels)
        out_.print(
            "case $label$:$result$",
            {{"label", label(owner, *one)},
             {"result", &one == &branch.labels.back() ? " return " + std::to_string(index) + ";" : ""}});
}

} // namespace harbidl
