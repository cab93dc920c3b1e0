#include "generate/stub_source.h"

#include "generate/literals.h"
#include "generate/stub_calls.h"

namespace harbidl {

namespace {

const char* const structOperators = R"(
    TRXostream& operator<<(TRXostream& $stream$, const $type$& $value$) {
        $write$
    }
    TRXistream& operator>>(TRXistream& $stream$, $type$& $value$) {
        $read$
    }
)";
const char* const unionOperators = R"(
    TRXostream& operator<<(TRXostream& $stream$, const $type$& $value$) {
        $value$._content.write($stream$);
        return $stream$;
    }
    TRXistream& operator>>(TRXistream& $stream$, $type$& $value$) {
        $value$._content.read($stream$);
        return $stream$;
    }
)";
const char* const enumOperators = R"(
    TRXistream& operator>>(TRXistream& $stream$, $type$& $value$) {
        return harbolance::readEnum($stream$, $value$, $count$);
    }
    std::ostream& operator<<(std::ostream& $stream$, $type$ $value$) {
        return harbolance::writeText($stream$, $value$, $typeCode$);
    }
    std::istream& operator>>(std::istream& $stream$, $type$& $value$) {
        return harbolance::readText($stream$, $value$);
    }
    void operator<<=(CORBA_Any& $any$, $type$ $value$) {
        harbolance::insertEnum($any$, $typeCode$, $value$);
    }
    bool operator>>=(const CORBA_Any& $any$, $type$& $value$) {
        return harbolance::extractEnum($any$, $typeCode$, $value$);
    }
)";
// `target` is the parameter that a value is read into, as a reference.
const char* const textOperators = R"(
    std::ostream& operator<<(std::ostream& $stream$, const $type$& $value$) {
        return harbolance::writeText($stream$, $value$$typeCode$);
    }
    std::istream& operator>>(std::istream& $stream$, $target$ $value$) {
        return harbolance::readText($stream$, $value$);
    }
)";
const char* const anyOperators = R"(
    void operator<<=(CORBA_Any& $any$, const $type$& $value$) {
        harbolance::insert($any$, $typeCode$, $value$);
    }
    bool operator>>=(const CORBA_Any& $any$, $target$ $value$) {
        return harbolance::extract($any$, $typeCode$, $value$);
    }
)";

std::string joined(const std::vector<std::string>& pieces, const std::string& between) {
    std::string result;
    for (const std::string& piece : pieces)
        result += (result.empty() ? "" : between) + piece;
    return result;
}

// The types accepted by harbolance::members, which reads and writes consecutive members in one step.
bool isSmall(const Type& type) {
    const Type& real = unaliased(type);
    switch (handlingOf(real)) {
    case Handling::number: return real.kind != TypeKind::enumeration && real.kind != TypeKind::wchar;
    case Handling::string: return real.bound == 0;
    default: return false;
    }
}

// Processes the declarations in the order of the file, like the header.
class DefinitionsCode {
public:
    DefinitionsCode(const Unit& unit, Emitter& out) : unit_(unit), out_(out) {}

    void all(const Scope& from, const std::vector<Declaration*>& declarations) {
        for (const Declaration* declaration : declarations) {
            if (declaration->file != SourceText::mainFile)
                continue;
            if (declaration->kind == Declaration::Kind::opening)
                opening(static_cast<const Opening&>(*declaration));
            else
                one(from, *declaration);
        }
    }

private:
    void opening(const Opening& opening);
    void one(const Scope& from, const Declaration& declaration);
    void structure(const Scope& from, const Struct& structure);
    void exception(const Scope& from, const Struct& exception);
    void unionType(const Scope& from, const Union& owner);
    void enumeration(const Scope& from, const Enum& enumeration);
    void alias(const Scope& from, const Alias& alias);
    void interface(const Scope& from, const Interface& interface);

    // The call that makes a TypeCode: a function of the library, its arguments after id and name, and a list
    // in braces.
    struct Maker {
        std::string function;
        std::vector<std::string> arguments;
        std::vector<std::string> list;
    };
    void typeCode(const Scope& from, const Declaration& declaration, Maker maker);
    void printMaker(const Maker& maker, bool recursive);
    std::vector<std::string> memberTypes(const Scope& owner, const std::vector<Member*>& members);
    std::vector<std::string> branchTypes(const Union& owner);
    std::string label(const Union& owner, const std::optional<Value>& value);
    std::string chain(const std::string& stream, const std::string& operation, const Struct& structure);
    void standardOperators(const Scope& from, const Declaration& declaration, bool native,
                           const std::string& type, const std::string& target);
    void exceptionConstructor(const Struct& exception, const std::string& type);

    std::string seen(const Scope& from, const Declaration& declaration) const {
        return unit_.names.seenFrom(from, declaration);
    }
    std::string parameter(const char* name) const { return unit_.names.parameter(name); }

    const Unit& unit_;
    Emitter& out_;
};

void DefinitionsCode::opening(const Opening& opening) {
    if (!CxxNames::isCxxScope(*opening.module))
        return all(*opening.module, opening.contents);
    const std::string name = unit_.names.local(*opening.module);
    out_.blankLine();
    out_.print("namespace $name$ {\n", {{"name", name}});
    all(*opening.module, opening.contents);
    out_.blankLine();
    out_.print("} // namespace $name$", {{"name", name}});
}

void DefinitionsCode::one(const Scope& from, const Declaration& declaration) {
    switch (declaration.kind) {
    case Declaration::Kind::structure: return structure(from, static_cast<const Struct&>(declaration));
    case Declaration::Kind::exception: return exception(from, static_cast<const Struct&>(declaration));
    case Declaration::Kind::union_: return unionType(from, static_cast<const Union&>(declaration));
    case Declaration::Kind::enumeration: return enumeration(from, static_cast<const Enum&>(declaration));
    case Declaration::Kind::alias: return alias(from, static_cast<const Alias&>(declaration));
    case Declaration::Kind::interface: return interface(from, static_cast<const Interface&>(declaration));
    default: return; // nothing of it is in the source
    }
}

// --- TypeCodes ---------------------------------------------------------------------------------------------

// Prints it in one line, or else with one line for the plain arguments, one for each list element, and one
// for the rest.
void DefinitionsCode::printMaker(const Maker& maker, bool recursive) {
    const std::string head = "return harbolance::" + maker.function + "(";
    const std::string tail = recursive ? ", harbolance::Recursion::some);" : ");";
    std::vector<std::string> list = maker.list;
    if (!list.empty()) {
        list.front().insert(0, "{");
        list.back() += "}";
    }
    const std::string plain = joined(maker.arguments, ", ");
    const std::string inOne = head + plain + (list.empty() ? "" : ", ") + joined(list, ", ") + tail;
    const Emitter::Indented indented(out_);
    // With its indentation such a line is within the emitter's limit.
    if (inOne.size() < 100)
        return out_.print("$line$", {{"line", inOne}});
    out_.print("$head$", {{"head", head}});
    const Emitter::Indented further(out_);
    out_.print("$plain$$end$", {{"plain", plain}, {"end", list.empty() ? tail : ","}});
    for (size_t i = 0; i < list.size(); ++i)
        out_.print("$blank$$piece$$end$", {{"blank", i == 0 ? "" : " "},
                                           {"piece", list[i]},
                                           {"end", i + 1 < list.size() ? ","
                                                   : recursive         ? ","
                                                                       : ");"}});
    if (recursive && !list.empty())
        out_.print("harbolance::Recursion::some);");
}

void DefinitionsCode::typeCode(const Scope& from, const Declaration& declaration, Maker maker) {
    // Whether recursion needs the enclosing types, which are then made first.
    std::set<const Declaration*> targets = recursionTargets(declaration);
    const bool recursive = !targets.empty();
    // Recursion to the declaration itself is resolved when its own TypeCode is made. Only recursion to an
    // outer type depends on that one.
    targets.erase(&declaration);
    const Scope& scope = *declaration.scope;
    // TypeCodes of the module CORBA contain the flat names, as those of the library do.
    const bool inCorba = !CxxNames::isCxxScope(scope) && scope.scope;
    const std::string name = !inCorba ? declaration.name
                             : declaration.kind == Declaration::Kind::enumeration
                                 ? declaration.scopedName()
                                 : unit_.names.local(declaration);
    maker.arguments.insert(maker.arguments.begin(), {cxxString(declaration.id), cxxString(name)});
    out_.blankLine();
    out_.print("const harbolance::TypeCodeConstant $name$([] {",
               {{"name", unit_.names.typeCodeSeenFrom(from, declaration)}});
    printMaker(maker, recursive);
    out_.print("}$enclosing$);",
               {{"enclosing", targets.empty() ? "" : ", &" + unit_.names.typeCodeSeenFrom(scope, scope)}});
}

std::vector<std::string> DefinitionsCode::memberTypes(const Scope& owner,
                                                      const std::vector<Member*>& members) {
    std::vector<std::string> types;
    for (const Member* member : members)
        // The initialiser of a static member is in the scope of its class, so names are used from there.
        types.push_back("{" + cxxString(member->name) + ", " +
                        unit_.types.typeCode(*owner.scope, owner, *member->type) + "}");
    return types;
}

std::vector<std::string> DefinitionsCode::branchTypes(const Union& owner) {
    std::vector<std::string> types;
    for (const Branch* branch : owner.branches) {
        // In a TypeCode each label is a member of its own, with the name and type of its branch.
        for (const std::optional<Value>& one : branch->labels)
            types.push_back("{" + label(owner, one) + ", " + cxxString(branch->name) + ", " +
                            unit_.types.typeCode(*owner.scope, owner, *branch->type) + "}");
    }
    return types;
}

// An Any with the label. For kinds with the same C++ type a wrapper gives the kind.
std::string DefinitionsCode::label(const Union& owner, const std::optional<Value>& value) {
    if (!value)
        return "harbolance::defaultLabel()";
    const Type& type = unaliased(*owner.discriminator);
    const auto* enumerator = std::get_if<const Enumerator*>(&*value);
    const std::string text = enumerator ? seen(*owner.scope, **enumerator) : cxxLiteral(*value, type);
    switch (type.kind) {
    // In C++ these three are the same type.
    case TypeKind::boolean: return "harbolance::label(CORBA_Any::from_boolean{" + text + "})";
    case TypeKind::char_: return "harbolance::label(CORBA_Any::from_char{" + text + "})";
    case TypeKind::octet: return "harbolance::label(CORBA_Any::from_octet{" + text + "})";
    case TypeKind::enumeration: return "harbolance::label(" + text + ")";
    default: return "harbolance::label(" + unit_.types.plain(owner, type) + "(" + text + "))";
    }
}

// --- Definitions -------------------------------------------------------------------------------------------

std::string DefinitionsCode::chain(const std::string& stream, const std::string& operation,
                                   const Struct& structure) {
    std::vector<std::string> operands, run;
    const auto endRun = [&] {
        if (!run.empty())
            operands.push_back(operation + " " +
                               (run.size() == 1 ? run[0] : "harbolance::members(" + joined(run, ", ") + ")"));
        run.clear();
    };
    for (const Member* member : structure.members) {
        const std::string value = parameter("value") + "." + unit_.names.local(*member);
        if (isSmall(*member->type)) {
            run.push_back(value);
            continue;
        }
        endRun();
        // A plain array would be written as a pointer, so it is wrapped.
        const bool array = handlingOf(*member->type) == Handling::array;
        operands.push_back(operation + " " + (array ? "harbolance::elements(" + value + ")" : value));
    }
    endRun();
    Emitter lines;
    lines.list("return " + stream + " ", operands, " ", ";");
    return lines.text();
}

void DefinitionsCode::standardOperators(const Scope& from, const Declaration& declaration, bool native,
                                        const std::string& type, const std::string& target) {
    const std::string code = unit_.names.typeCodeSeenFrom(from, declaration);
    const auto print = [&](const char* text, const std::string& typeCode) {
        out_.print(text, {{"type", type},
                          {"target", target},
                          {"typeCode", typeCode},
                          {"stream", parameter("stream")},
                          {"any", parameter("any")},
                          {"value", parameter("value")}});
    };
    if (declaration.kind != Declaration::Kind::exception)
        print(textOperators, native ? "" : ", " + code);
    if (!native)
        print(anyOperators, code);
}

void DefinitionsCode::structure(const Scope& from, const Struct& structure) {
    for (const Declaration* inner : structure.contents)
        one(from, *inner);
    const std::string type = seen(from, structure);
    if (!structure.type.native)
        typeCode(from, structure, {"structType", {}, memberTypes(structure, structure.members)});
    out_.blankLine();
    out_.print(structOperators, {{"type", type},
                                 {"stream", parameter("stream")},
                                 {"value", parameter("value")},
                                 {"write", chain(parameter("stream"), "<<", structure)},
                                 {"read", chain(parameter("stream"), ">>", structure)}});
    standardOperators(from, structure, structure.type.native, type, type + "&");
}

void DefinitionsCode::exception(const Scope& from, const Struct& exception) {
    for (const Declaration* inner : exception.contents)
        one(from, *inner);
    const std::string type = seen(from, exception);
    if (!exception.type.native)
        typeCode(from, exception, {"exceptionType", {}, memberTypes(exception, exception.members)});
    out_.blankLine();
    out_.print(
        "TRX_DEFINE_USER_EXCEPTION($type$, $name$, $id$)",
        {{"type", type}, {"name", cxxString(exception.scopedName())}, {"id", cxxString(exception.id)}});
    if (!exception.members.empty())
        exceptionConstructor(exception, type);
    standardOperators(from, exception, exception.type.native, type, type + "&");
}

// The constructor from all members. Arrays cannot be initialised from arrays, so they are copied in the body.
void DefinitionsCode::exceptionConstructor(const Struct& exception, const std::string& type) {
    std::vector<std::string> parameters, initialisers;
    std::string body;
    for (const Member* member : exception.members) {
        const std::string name = unit_.names.local(*member);
        const std::string given = "_" + member->name;
        parameters.push_back(unit_.types.parameter(exception, *member->type, given));
        switch (handlingOf(*member->type)) {
        case Handling::array: body += "harbolance::elements(" + name + ").assign(" + given + ");\n"; break;
        case Handling::reference:
            // Duplicated, because a holder would take ownership of the parameter, which is only borrowed.
            initialisers.push_back(name + "(harbolance::duplicated(" + given + "))");
            break;
        default: initialisers.push_back(name + "(" + given + ")");
        }
    }
    out_.blankLine();
    out_.list(type + "::" + unit_.names.local(exception) + "(", parameters, ", ",
              initialisers.empty() ? ") {" : ")");
    {
        const Emitter::Indented indented(out_);
        if (!initialisers.empty())
            out_.list(": ", initialisers, ", ", body.empty() ? " {}" : " {");
        out_.print("$body$", {{"body", body}});
    }
    if (!body.empty())
        out_.print("}");
}

void DefinitionsCode::unionType(const Scope& from, const Union& owner) {
    for (const Declaration* inner : owner.contents)
        one(from, *inner);
    const std::string type = seen(from, owner);
    if (!owner.type.native)
        typeCode(from, owner,
                 {"unionType",
                  {unit_.types.typeCode(*owner.scope, owner, *owner.discriminator)},
                  branchTypes(owner)});
    out_.blankLine();
    out_.print(unionOperators,
               {{"type", type}, {"stream", parameter("stream")}, {"value", parameter("value")}});
    standardOperators(from, owner, owner.type.native, type, type + "&");
}

void DefinitionsCode::enumeration(const Scope& from, const Enum& enumeration) {
    std::vector<std::string> names;
    for (const Enumerator* enumerator : enumeration.enumerators)
        names.push_back(cxxString(enumerator->name));
    typeCode(from, enumeration, {"enumType", {}, names});
    out_.blankLine();
    out_.print(enumOperators, {{"type", seen(from, enumeration)},
                               {"typeCode", unit_.names.typeCodeSeenFrom(from, enumeration)},
                               {"count", std::to_string(enumeration.enumerators.size())},
                               {"stream", parameter("stream")},
                               {"any", parameter("any")},
                               {"value", parameter("value")}});
}

void DefinitionsCode::alias(const Scope& from, const Alias& alias) {
    if (!alias.type.native)
        typeCode(from, alias,
                 {"aliasType", {unit_.types.typeCode(*alias.scope, alias, *alias.original)}, {}});
    const std::string type = seen(from, alias);
    // Other aliases are the same C++ type as what they stand for, which has its operators already.
    if (alias.original->kind == TypeKind::sequence) {
        out_.blankLine();
        standardOperators(from, alias, alias.type.native, type, type + "&");
    } else if (alias.original->kind == TypeKind::array) {
        out_.blankLine();
        standardOperators(from, alias, alias.type.native, type + "_forany", "const " + type + "_forany&");
    }
}

void DefinitionsCode::interface(const Scope& from, const Interface& interface) {
    const std::string type = seen(from, interface);
    std::vector<std::string> arguments{cxxString(interface.scopedName()), cxxString(interface.id),
                                       "harbolance::makeStub<" + type + ">"};
    for (const Interface* base : interface.bases)
        arguments.push_back("&" + seen(interface, *base) + "::_type");
    // Every interface inherits from Object, which therefore answers `is_a` for it too.
    arguments.emplace_back("&CORBA_Object_type");
    typeCode(from, interface, {"interfaceType", {}, {}});
    out_.list("const CORBA_TypeInfo " + type + "::_type(", arguments, ", ", ");");
    for (const Declaration* declaration : interface.contents)
        one(from, *declaration);
    printStubCalls(unit_, out_, from, interface);
}

} // namespace

std::string stubSource(const Unit& unit) {
    Emitter out;
    beginSource(unit, out);
    DefinitionsCode(unit, out).all(unit.model.global(), unit.model.contents().contents);
    return out.text();
}

} // namespace harbidl
