#pragma once

#include "model/declarations.h"
#include "syntax/diagnostics.h"
#include "syntax/tree.h"

namespace harbidl {

// The meanings of names in scopes. Names that differ only in case count as the same name, wrongly written.
class Names {
public:
    explicit Names(Diagnostics& diagnostics) : diagnostics_(diagnostics) {}

    // Enters the declaration in the scope. False after an error, when the name already has another meaning
    // there.
    bool declare(Scope& scope, Declaration& declaration);

    // The declaration of the name in this scope itself; null for none.
    static Declaration* own(const Scope& scope, const std::string& name);

    // All meanings of the name there: in an interface also inherited ones, unless it declares the name
    // itself.
    static std::vector<Declaration*> meanings(const Scope& scope, const std::string& name);

    // Whether the name has a meaning in `from` or an enclosing scope.
    static bool knows(const Scope& from, const std::string& name);

    // The meaning of the name there. Null after an error.
    Declaration* find(Scope& from, const tree::ScopedName& name);

    // Reports operations and attributes with equal names in different bases.
    void checkInherited(const Interface& interface);

private:
    Declaration* findFirst(Scope& from, const tree::Identifier& name);
    Declaration* findIn(const Scope& scope, const tree::Identifier& name);

    Diagnostics& diagnostics_;
};

std::string inLowerCase(const std::string& text);

} // namespace harbidl
