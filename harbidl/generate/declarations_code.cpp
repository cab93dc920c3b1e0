#include "generate/declarations_code.h"

#include "generate/calls.h"
#include "generate/literals.h"

#include <utility>

namespace harbidl {

namespace {

// The namespace that the operators of a declaration are declared in.
const Scope& moduleOf(const Declaration& declaration) {
    // The loop ends at the outermost scope at the latest, which is a module.
    const Scope* scope = declaration.scope;
    while (scope->kind != Declaration::Kind::module)
        scope = scope->scope;
    return *scope;
}

// Whether both are constants without comments, which are printed without an empty line between them.
bool isRowOfConstants(const Declaration* before, const Declaration& declaration) {
    return before && before->kind == Declaration::Kind::constant &&
           declaration.kind == Declaration::Kind::constant && declaration.comment.empty();
}

const char* const enumOperators = R"(
    TRXistream& operator>>(TRXistream&, $type$&);
    std::ostream& operator<<(std::ostream&, $type$);
    std::istream& operator>>(std::istream&, $type$&);
    void operator<<=(CORBA_Any&, $type$);
    bool operator>>=(const CORBA_Any&, $type$&);
)";
const char* const marshalOperators = R"(
    TRXostream& operator<<(TRXostream&, const $type$&);
    TRXistream& operator>>(TRXistream&, $type$&);
)";
const char* const textOperators = R"(
    std::ostream& operator<<(std::ostream&, const $type$&);
    std::istream& operator>>(std::istream&, $type$&);
)";
const char* const anyOperators = R"(
    void operator<<=(CORBA_Any&, const $type$&);
    bool operator>>=(const CORBA_Any&, $type$&);
)";
const char* const arrayOperators = R"(
    std::ostream& operator<<(std::ostream&, const $type$_forany&);
    std::istream& operator>>(std::istream&, const $type$_forany&);
)";
const char* const arrayAnyOperators = R"(
    void operator<<=(CORBA_Any&, const $type$_forany&);
    bool operator>>=(const CORBA_Any&, const $type$_forany&);
)";

} // namespace

// --- The order of a file -----------------------------------------------------------------------------------

void DeclarationsCode::all(const std::vector<Declaration*>& declarations) {
    const Declaration* before = nullptr;
    for (const Declaration* declaration : declarations) {
        // Declarations of another file are in that file's header, a native type in a header written by hand.
        if (declaration->file != SourceText::mainFile || declaration->kind == Declaration::Kind::native)
            continue;
        if (declaration->kind == Declaration::Kind::opening) {
            opening(static_cast<const Opening&>(*declaration));
            continue;
        }
        if (!isRowOfConstants(std::exchange(before, declaration), *declaration))
            out_.blankLine();
        one(*declaration);
        contained_.push_back(declaration);
        afterwards();
    }
}

void DeclarationsCode::opening(const Opening& opening) {
    // The declarations of the module CORBA are outside of any namespace.
    if (!CxxNames::isCxxScope(*opening.module))
        return all(opening.contents);
    const std::string name = local(*opening.module);
    out_.blankLine();
    out_.comment(opening.comment);
    out_.print("namespace $name$ {", {{"name", name}});
    out_.blankLine();
    all(opening.contents);
    out_.blankLine();
    out_.print("} // namespace $name$", {{"name", name}});
}

void DeclarationsCode::one(const Declaration& declaration) {
    // The comment of an interface is printed with its class, not with the forward declaration.
    if (declaration.kind != Declaration::Kind::interface)
        out_.comment(declaration.comment);
    switch (declaration.kind) {
    case Declaration::Kind::forward: return forward(*static_cast<const Forward&>(declaration).interface);
    case Declaration::Kind::interface: return interface(static_cast<const Interface&>(declaration));
    case Declaration::Kind::structure: return structure(static_cast<const Struct&>(declaration));
    case Declaration::Kind::exception: return exception(static_cast<const Struct&>(declaration));
    case Declaration::Kind::union_: return unionType(static_cast<const Union&>(declaration));
    case Declaration::Kind::enumeration: return enumeration(static_cast<const Enum&>(declaration));
    case Declaration::Kind::alias: return alias(static_cast<const Alias&>(declaration));
    case Declaration::Kind::constant: return constant(static_cast<const Constant&>(declaration));
    default: return; // natives are written by hand
    }
}

// Prints the contents of a class.
void DeclarationsCode::inside(const std::vector<Declaration*>& contents) {
    ++depth_;
    const Emitter::Indented indented(out_);
    for (const Declaration* declaration : contents) {
        // Printed by operations() after all types, because a signature may use any of them.
        if (declaration->kind == Declaration::Kind::operation ||
            declaration->kind == Declaration::Kind::attribute)
            continue;
        one(*declaration);
        out_.blankLine();
        contained_.push_back(declaration);
    }
    --depth_;
}

void DeclarationsCode::afterwards() {
    // Operators for a nested type are printed later: inside the class they would be member functions.
    if (inClass())
        return;
    for (const Declaration* declaration : contained_)
        operators(*declaration);
    contained_.clear();
}

void DeclarationsCode::operators(const Declaration& declaration) {
    const auto* declared = dynamic_cast<const DeclaredType*>(&declaration);
    // Interfaces have their operators as templates in the library; those of a native type are written by
    // hand.
    if (!declared || declaration.kind == Declaration::Kind::interface ||
        declaration.kind == Declaration::Kind::native)
        return;
    const std::string type = unit_.names.seenFrom(moduleOf(declaration), declaration);
    // A native type has no TypeCode, and an Any needs one.
    const bool hasAny = !declared->type.native;
    const auto print = [&](const char* text) { out_.print(text, {{"type", type}}); };
    if (declaration.kind == Declaration::Kind::alias) {
        const Type& original = *static_cast<const Alias&>(declaration).original;
        // Any other alias is the same type in C++ and already has its operators.
        if (original.kind != TypeKind::sequence && original.kind != TypeKind::array)
            return;
        const bool array = original.kind == TypeKind::array;
        out_.blankLine();
        // Marshalling operators are inherited: those of the sequence's base class and of ArrayRef.
        print(array ? arrayOperators : textOperators);
        if (hasAny)
            print(array ? arrayAnyOperators : anyOperators);
        return;
    }
    out_.blankLine();
    if (declaration.kind == Declaration::Kind::enumeration)
        return print(enumOperators);
    // The base class of an exception writes and prints it.
    if (declaration.kind != Declaration::Kind::exception) {
        print(marshalOperators);
        print(textOperators);
    }
    if (hasAny)
        print(anyOperators);
}

// --- Declarations ------------------------------------------------------------------------------------------

void DeclarationsCode::constant(const Constant& constant) {
    const Scope& from = *constant.scope;
    const auto* enumerator = std::get_if<const Enumerator*>(&constant.value);
    out_.print("$static$constexpr $type$ $name$ = $value$;",
               {{"static", inClass() ? "static " : ""},
                {"type", unit_.types.argument(from, *constant.type)},
                {"name", local(constant)},
                {"value", enumerator ? unit_.names.seenFrom(from, **enumerator)
                                     : cxxLiteral(constant.value, *constant.type)}});
}

void DeclarationsCode::typeCode(const Declaration& declaration, bool native) {
    if (!native)
        out_.print(
            "$linkage$ const harbolance::TypeCodeConstant $name$;",
            {{"linkage", inClass() ? "static" : "extern"}, {"name", unit_.names.typeCode(declaration)}});
}

void DeclarationsCode::enumeration(const Enum& enumeration) {
    std::vector<std::string> names;
    bool commented = false;
    for (const Enumerator* enumerator : enumeration.enumerators) {
        names.push_back(local(*enumerator));
        commented = commented || !enumerator->comment.empty();
    }
    const std::string head = "enum " + local(enumeration) + " : CORBA_ULong {";
    if (!commented) {
        out_.list(head + " ", names, ", ", " };");
    } else {
        out_.print(head);
        for (const Enumerator* enumerator : enumeration.enumerators) {
            const Emitter::Indented indented(out_);
            out_.comment(enumerator->comment);
            out_.print("$name$,", {{"name", local(*enumerator)}});
        }
        out_.print("};");
    }
    typeCode(enumeration, false);
}

void DeclarationsCode::anonymousType(const Member& member) {
    if (isAnonymousSequence(*member.type)) {
        const Type* sequence = member.type;
        while (sequence->kind == TypeKind::array)
            sequence = sequence->element;
        out_.print("using _$name$_seq = $sequence$;",
                   {{"name", member.name}, {"sequence", unit_.types.sequence(*member.scope, *sequence)}});
    }
}

void DeclarationsCode::members(const std::vector<Member*>& members) {
    const Emitter::Indented indented(out_);
    for (const Member* member : members)
        anonymousType(*member);
    out_.blankLine();
    for (const Member* member : members) {
        const Type* inner = member->type;
        while (inner->kind == TypeKind::array)
            inner = inner->element;
        // Without `{}` numbers are uninitialised. An array by a typedef may contain numbers; `{}` is valid
        // for any array.
        const bool number = handlingOf(*inner) == Handling::number || handlingOf(*inner) == Handling::array;
        out_.comment(member->comment);
        out_.print(
            "$type$ $name$$dimensions$$zero$;",
            {{"type", isAnonymousSequence(*member->type) ? "_" + member->name + "_seq"
                                                         : unit_.types.member(*member->scope, *member->type)},
             {"name", local(*member)},
             {"dimensions", CxxTypes::dimensions(*member->type)},
             {"zero", number ? "{}" : ""}});
    }
}

void DeclarationsCode::structure(const Struct& structure) {
    const std::string name = local(structure);
    out_.print("struct $name$ {", {{"name", name}});
    // Types defined in the struct are printed before the members that use them.
    inside(structure.contents);
    members(structure.members);
    out_.print(R"(

            static constexpr CORBA_ULong _minimum_octets = $octets$;
        };
        using $name$_var = harbolance::$size$Var<$name$>;
    )",
               {{"octets", std::to_string(structure.type.minimumOctets)},
                {"name", name},
                {"size", structure.type.variable ? "Variable" : "Fixed"}});
    typeCode(structure, structure.type.native);
}

void DeclarationsCode::exception(const Struct& exception) {
    const std::string name = local(exception);
    // An exception in the module CORBA itself is known by its flat name, like the library's own exceptions.
    const bool flattened = !CxxNames::isCxxScope(*exception.scope) && exception.scope->scope;
    out_.print("class $name$ final : public TRXUserExceptionOf<$name$> {\npublic:", {{"name", name}});
    inside(exception.contents);
    members(exception.members);
    {
        const Emitter::Indented indented(out_);
        std::vector<std::string> parameters, fields;
        for (const Member* member : exception.members) {
            // IDL names do not begin with an underscore, so these parameters hide no member.
            parameters.push_back(unit_.types.parameter(exception, *member->type, "_" + member->name));
            fields.push_back("TRXExceptionMember{" + cxxString(member->name) + ", &" + name +
                             "::" + local(*member) + "}");
        }
        if (!exception.members.empty()) {
            out_.blankLine();
            // Declared explicitly, because the constructor with the members removes the implicit one.
            out_.print("$name$() = default;", {{"name", name}});
            out_.list(std::string(parameters.size() == 1 ? "explicit " : "") + name + "(", parameters, ", ",
                      ");");
        }
        out_.blankLine();
        out_.print("static constexpr const char* _scoped_name = $text$;",
                   {{"text", cxxString(flattened ? name : exception.scopedName())}});
        if (!fields.empty()) {
            out_.print("static constexpr auto _members() {");
            {
                const Emitter::Indented deeper(out_);
                out_.list("return std::tuple{", fields, ", ", "};");
            }
            out_.print("}");
        }
        out_.print("static const CORBA_ExceptionDesc& _descriptor();");
    }
    out_.print("};");
    typeCode(exception, exception.type.native);
}

void DeclarationsCode::forward(const Interface& interface) {
    // A definition may declare an interface forward any number of times, but _ptr and _var are declared once.
    if (!announced_.insert(&interface).second)
        return;
    out_.print(R"(
        class $name$;
        using $name$_ptr = $name$*;
        using $name$_var = TRXVar<$name$>;
    )",
               {{"name", local(interface)}});
    typeCode(interface, false);
}

// Prints the operations after the types.
void DeclarationsCode::operations(const Interface& interface) {
    const Emitter::Indented indented(out_);
    for (const Call& call : callsOf(interface, unit_.names)) {
        const Signature signature(call, interface, unit_.names, unit_.types);
        out_.comment(call.comment);
        if (!call.raises.empty()) {
            std::vector<std::string> names;
            for (const Struct* exception : call.raises)
                names.push_back(unit_.names.seenFrom(interface, *exception));
            out_.list("// Raises ", names, ", ", ".");
        }
        out_.list("virtual " + signature.returned + " " + call.name + "(", signature.parameters, ", ", ");");
    }
}

void DeclarationsCode::interface(const Interface& interface) {
    const std::string name = local(interface);
    const Scope& from = *interface.scope;
    // The class uses its own _ptr and _var, so they come first.
    if (!announced_.contains(&interface)) {
        forward(interface);
        out_.blankLine();
    }
    std::vector<std::string> bases, own{name};
    for (const Interface* base : interface.bases) {
        bases.push_back("public virtual " + unit_.names.seenFrom(from, *base));
        own.push_back(unit_.names.seenFrom(interface, *base));
    }
    if (bases.empty()) {
        bases.emplace_back("public virtual CORBA_Object");
        own.emplace_back("CORBA_Object");
    }
    out_.comment(interface.comment);
    out_.list("class " + name + " : ", bases, ", ", " {");
    out_.print("public:");
    {
        const Emitter::Indented indented(out_);
        out_.list("TRX_INTERFACE(", own, ", ", ")");
    }
    out_.blankLine();
    inside(interface.contents);
    operations(interface);
    out_.blankLine();
    out_.print(R"(
            static const CORBA_TypeInfo _type;
        };
    )");
}

} // namespace harbidl
