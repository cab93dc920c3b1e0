#include "model/names.h"

#include "syntax/parser.h"

#include <algorithm>
#include <set>

namespace harbidl {

namespace {

bool isCall(const Declaration& declaration) {
    return declaration.kind == Declaration::Kind::operation ||
           declaration.kind == Declaration::Kind::attribute;
}

std::string quoted(const std::string& name) { return "'" + name + "'"; }

// The interface and all that it inherits from, each once.
std::vector<const Interface*> withBases(const Interface& interface) {
    std::vector<const Interface*> all{&interface};
    std::set<const Interface*> seen{&interface};
    // By index, since the list grows inside the loop.
    for (size_t i = 0; i < all.size(); ++i) {
        for (const Interface* base : all[i]->bases) {
            if (seen.insert(base).second)
                all.push_back(base);
        }
    }
    return all;
}

// The meanings of a name in an interface: its own declaration, or else the meanings in its bases.
std::vector<Declaration*> meaningsInInterface(const Interface& interface, const std::string& name) {
    std::vector<Declaration*> found;
    std::vector<const Interface*> open{&interface};
    std::set<const Interface*> seen;
    while (!open.empty()) {
        // A stack instead of recursion, because a chain of bases may be as long as the text.
        const Interface* const next = open.back();
        open.pop_back();
        // Each interface is visited once, though many paths may lead to it: n levels of diamonds have 2^n
        // paths.
        if (!seen.insert(next).second)
            continue;
        if (Declaration* own = Names::own(*next, name)) {
            if (std::find(found.begin(), found.end(), own) == found.end())
                found.push_back(own);
        } else {
            // Pushed in reverse, so that the first base is visited first and the meanings are in the order of
            // the text.
            open.insert(open.end(), next->bases.rbegin(), next->bases.rend());
        }
    }
    return found;
}

} // namespace

std::string inLowerCase(const std::string& text) {
    std::string lower = text;
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return lower;
}

std::vector<Declaration*> Names::meanings(const Scope& scope, const std::string& name) {
    if (scope.kind == Declaration::Kind::interface)
        return meaningsInInterface(static_cast<const Interface&>(scope), name);
    Declaration* const declaration = own(scope, name);
    return declaration ? std::vector{declaration} : std::vector<Declaration*>();
}

Declaration* Names::own(const Scope& scope, const std::string& name) {
    // The key is in lower case; callers compare the spelling where it matters.
    const auto found = scope.names.find(inLowerCase(name));
    return found == scope.names.end() ? nullptr : found->second;
}

bool Names::declare(Scope& scope, Declaration& declaration) {
    const std::string& name = declaration.name;
    const std::string key = inLowerCase(name);
    if (const Declaration* known = own(scope, name)) {
        diagnostics_.error(declaration.position,
                           known->name == name
                               ? quoted(name) + " is declared twice"
                               : quoted(name) + " differs from " + quoted(known->name) + " only in case",
                           known->position, "first declared here");
        return false;
    }
    // A rule of IDL and of C++: in a class its name is that of the constructor. The outermost scope has no
    // name.
    if (scope.scope && inLowerCase(scope.name) == key) {
        diagnostics_.error(declaration.position, quoted(name) + " has the name of what it stands in",
                           scope.position, "which is this");
        return false;
    }
    // A rule of IDL: a name that has been used in a scope must not be declared there later, because its
    // meaning would change.
    if (const auto used = scope.used.find(name); used != scope.used.end()) {
        diagnostics_.error(declaration.position, quoted(name) + " has been used here with another meaning",
                           used->second->position, "which is this");
        return false;
    }
    if (scope.kind == Declaration::Kind::interface) {
        for (const Declaration* inherited : meanings(scope, name)) {
            // Types, constants and exceptions that are inherited may be declared again; operations and
            // attributes may not, since requests name them without their interface.
            if (!isCall(*inherited))
                continue;
            diagnostics_.error(declaration.position,
                               quoted(name) + " is inherited and cannot be declared again",
                               inherited->position, "from here");
            return false;
        }
    }
    // Set last, so that a refused declaration does not look as if it were in the scope.
    declaration.scope = &scope;
    scope.names.emplace(key, &declaration);
    return true;
}

Declaration* Names::find(Scope& from, const tree::ScopedName& name) {
    Scope* outermost = &from;
    while (outermost->scope)
        outermost = outermost->scope;
    const tree::Identifier& first = name.parts.front();
    Declaration* found = name.global ? findIn(*outermost, first) : findFirst(from, first);
    // The rule about used names applies to types and interfaces. A module may be reopened, and would have to
    // store the names of all files.
    if (found && !name.global && from.kind != Declaration::Kind::module)
        from.used.emplace(first.text, found);
    // The parts after the first are looked up in that scope only, never in enclosing scopes.
    for (size_t i = 1; found && i < name.parts.size(); ++i) {
        // Null for a declaration that is not a scope, such as an enum.
        const auto* scope = dynamic_cast<const Scope*>(found);
        if (!scope)
            diagnostics_.error(name.parts[i].position, quoted(found->name) + " contains no names",
                               found->position, "declared here");
        found = scope ? findIn(*scope, name.parts[i]) : nullptr;
    }
    return found;
}

bool Names::knows(const Scope& from, const std::string& name) {
    for (const Scope* scope = &from; scope; scope = scope->scope) {
        if (!meanings(*scope, name).empty())
            return true;
    }
    return false;
}

// Searches from the innermost scope outwards. A name that differs in case does not hide one with the right
// case.
Declaration* Names::findFirst(Scope& from, const tree::Identifier& name) {
    const Scope* similar = nullptr;
    for (const Scope* scope = &from; scope; scope = scope->scope) {
        const std::vector<Declaration*> found = meanings(*scope, name.text);
        // findIn() is called again, because it reports ambiguous names.
        if (!found.empty() && found.front()->name == name.text)
            return findIn(*scope, name);
        if (!found.empty() && !similar)
            similar = scope;
    }
    // Reports the difference in case, and the declaration that is probably meant.
    if (similar)
        return findIn(*similar, name);
    diagnostics_.error(name.position,
                       isLaterWord(name.text)
                           ? quoted(name.text) + " is not part of the language of this compiler"
                           : quoted(name.text) + " is not declared");
    return nullptr;
}

Declaration* Names::findIn(const Scope& scope, const tree::Identifier& name) {
    const std::vector<Declaration*> found = meanings(scope, name.text);
    if (found.empty()) {
        const std::string where = scope.scope ? " in " + quoted(scope.scopedName()) : "";
        diagnostics_.error(name.position, quoted(name.text) + " is not declared" + where);
        return nullptr;
    }
    // Several bases of an interface may declare the name; none has precedence, so it must be qualified.
    if (found.size() > 1) {
        diagnostics_.error(name.position, quoted(name.text) + " is inherited with several meanings");
        for (const Declaration* one : found)
            diagnostics_.note(one->position, "this is one of them");
        return nullptr;
    }
    if (found.front()->name != name.text) {
        diagnostics_.error(name.position,
                           quoted(name.text) + " differs from " + quoted(found.front()->name) +
                               " only in case",
                           found.front()->position, "declared here");
        return nullptr;
    }
    return found.front();
}

void Names::checkInherited(const Interface& interface) {
    // A single base was checked when it was defined.
    if (interface.bases.size() < 2)
        return;
    std::map<std::string, const Declaration*> calls;
    for (const Interface* base : withBases(interface)) {
        for (const auto& [key, declaration] : base->names) {
            if (!isCall(*declaration))
                continue;
            const auto [known, isNew] = calls.emplace(key, declaration);
            // The same declaration by two paths is no conflict.
            if (isNew || known->second == declaration)
                continue;
            diagnostics_.error(interface.position,
                               quoted(interface.name) + " inherits two operations with the name " +
                                   quoted(declaration->name),
                               known->second->position, "one is this");
            diagnostics_.note(declaration->position, "the other is this");
        }
    }
}

} // namespace harbidl
