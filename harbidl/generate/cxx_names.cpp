#include "generate/cxx_names.h"

#include "model/names.h"

#include <algorithm>
#include <iterator>

namespace harbidl {

namespace {

bool isCxxKeyword(const std::string& name) {
    static const std::set<std::string> keywords = {
        "alignas",     "alignof",  "and",        "and_eq",    "asm",       "auto",         "bitand",
        "bitor",       "bool",     "break",      "case",      "catch",     "char",         "char16_t",
        "char32_t",    "char8_t",  "class",      "co_await",  "co_return", "co_yield",     "compl",
        "concept",     "const",    "const_cast", "consteval", "constexpr", "constinit",    "continue",
        "decltype",    "default",  "delete",     "do",        "double",    "dynamic_cast", "else",
        "enum",        "explicit", "export",     "extern",    "false",     "float",        "for",
        "friend",      "goto",     "if",         "inline",    "int",       "long",         "mutable",
        "namespace",   "new",      "noexcept",   "not",       "not_eq",    "nullptr",      "operator",
        "or",          "or_eq",    "private",    "protected", "public",    "register",     "reinterpret_cast",
        "requires",    "return",   "short",      "signed",    "sizeof",    "static",       "static_assert",
        "static_cast", "struct",   "switch",     "template",  "this",      "thread_local", "throw",
        "true",        "try",      "typedef",    "typeid",    "typename",  "union",        "unsigned",
        "using",       "virtual",  "void",       "volatile",  "wchar_t",   "while",        "xor",
        "xor_eq",
    };
    return keywords.contains(name);
}

// The namespaces that generated code uses everywhere.
bool isNeeded(const std::string& name) { return name == "std" || name == "harbolance"; }

std::string escaped(const std::string& name) {
    return isCxxKeyword(name) || isNeeded(name) ? "_cxx_" + name : name;
}

// The module CORBA and the modules in it.
bool isFlattened(const Scope& scope) {
    // The outermost scope has no name; below it is the outermost module.
    const Scope* outermost = &scope;
    while (outermost->scope && outermost->scope->scope)
        outermost = outermost->scope;
    // Interfaces in CORBA are classes as everywhere; only modules are flattened.
    return scope.kind == Declaration::Kind::module && scope.scope && outermost->name == "CORBA";
}

// The declaration and its enclosing scopes that are also scopes in C++, outermost first.
std::vector<const Declaration*> pathTo(const Declaration& declaration) {
    std::vector<const Declaration*> path{&declaration};
    for (const Scope* scope = declaration.scope; scope && CxxNames::isCxxScope(*scope); scope = scope->scope)
        path.push_back(scope);
    std::reverse(path.begin(), path.end());
    return path;
}

// Whether the name, used in `from`, finds this declaration and no other. Names in C++ are case-sensitive.
bool means(const Scope& from, const Declaration& declaration) {
    for (const Scope* scope = &from; scope; scope = scope->scope) {
        const std::vector<Declaration*> found = Names::meanings(*scope, declaration.name);
        if (!found.empty() && found.front()->name == declaration.name)
            // Several meanings by inheritance are ambiguous in C++ too, so the name must be qualified.
            return found.size() == 1 && found.front() == &declaration;
    }
    return false;
}

} // namespace

CxxNames::CxxNames(const Model& model, Place place) : place_(place) {
    for (const auto& declaration : model.declarations()) {
        // Members are accessed through their object and hide nothing in the functions that have these
        // parameters.
        if (declaration->kind != Declaration::Kind::member)
            declared_.insert(declaration->name);
    }
}

bool CxxNames::isCxxScope(const Scope& scope) { return scope.scope && !isFlattened(scope); }

std::vector<const Scope*> CxxNames::namespaces(const Scope& module) {
    std::vector<const Scope*> all;
    for (const Scope* scope = &module; scope && isCxxScope(*scope); scope = scope->scope)
        all.push_back(scope);
    std::reverse(all.begin(), all.end());
    return all;
}

std::string CxxNames::local(const Declaration& declaration) const {
    std::string name = declaration.name;
    const bool inCorba = declaration.scope && isFlattened(*declaration.scope);
    // The mapping keeps the names of enumerators in CORBA, as in tk_long.
    if (!inCorba || declaration.kind == Declaration::Kind::enumerator)
        return escaped(name);
    for (const Scope* scope = declaration.scope; scope->scope; scope = scope->scope)
        // A name of two parts is no keyword, so it is not escaped.
        name = scope->name + "_" + name;
    return name;
}

std::string CxxNames::global(const Declaration& declaration) const {
    std::string name;
    for (const Declaration* part : pathTo(declaration))
        name += (name.empty() ? "" : "::") + local(*part);
    return name;
}

// The path to the declaration, starting with the innermost part that is found from there, with `last` instead
// of the declaration's own name.
std::string CxxNames::prefixed(const Scope& from, const Declaration& declaration,
                               const std::string& last) const {
    const std::vector<const Declaration*> path = pathTo(declaration);
    const auto isKnown = [&](const Declaration* part) {
        // A flattened declaration is found by its C++ name only.
        return (part->scope && isFlattened(*part->scope)) || means(from, *part);
    };
    // From outside only the outermost part is found.
    const auto found =
        std::find_if(place_ == Place::inside ? path.rbegin() : path.rend() - 1, path.rend(), isKnown);
    // When not even the outermost part is found by its plain name, the search must begin at the global scope.
    std::string name = found == path.rend() ? "::" : "";
    const size_t first =
        found == path.rend() ? 0 : path.size() - 1 - static_cast<size_t>(found - path.rbegin());
    for (size_t i = first; i + 1 < path.size(); ++i)
        name += local(*path[i]) + "::";
    return name + last;
}

std::string CxxNames::seenFrom(const Scope& from, const Declaration& declaration) const {
    return prefixed(from, declaration, local(declaration));
}

std::string CxxNames::typeCodeSeenFrom(const Scope& from, const Declaration& declaration) const {
    return prefixed(from, declaration, typeCode(declaration));
}

std::string CxxNames::libraryTypeCode(const std::string& name) const {
    return (declared_.contains(name) ? "::_tc_" : "_tc_") + name;
}

std::string CxxNames::parameter(const std::string& name) const {
    return declared_.contains(name) ? "_" + name : name;
}

std::string CxxNames::parameter(const Union& owner, const std::string& name) const {
    const auto isBranch = [&](const Branch* branch) { return branch->name == name; };
    // Branches are functions of the union's class; a parameter with the name of a branch would hide it in the
    // function's body.
    const bool hidden = std::any_of(owner.branches.begin(), owner.branches.end(), isBranch);
    return hidden ? "_" + name : parameter(name);
}

std::string CxxNames::parameter(const Parameter& parameter) const {
    const std::string name = escaped(parameter.name);
    // An escaped name begins with _cxx_, which no declared name does.
    return name == parameter.name && declared_.contains(name) ? name + "_" : name;
}

} // namespace harbidl
