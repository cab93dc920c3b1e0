#include "generate/interfaces.h"

#include <algorithm>

namespace harbidl {

namespace {

bool isInterfaceHere(const Declaration& declaration) {
    return declaration.kind == Declaration::Kind::interface && declaration.file == SourceText::mainFile;
}

bool hasInterfaces(const Opening& opening) {
    return std::any_of(opening.contents.begin(), opening.contents.end(), [](const Declaration* declaration) {
        return declaration->kind == Declaration::Kind::opening
                   ? hasInterfaces(static_cast<const Opening&>(*declaration))
                   : isInterfaceHere(*declaration);
    });
}

} // namespace

void printInterfaces(const Unit& unit, Emitter& out, const std::string& prefix,
                     const std::function<void(const Interface&)>& one) {
    const std::function<void(const Opening&)> all = [&](const Opening& opening) {
        for (const Declaration* declaration : opening.contents) {
            if (isInterfaceHere(*declaration)) {
                out.blankLine();
                one(static_cast<const Interface&>(*declaration));
                continue;
            }
            if (declaration->kind != Declaration::Kind::opening)
                continue;
            const auto& inner = static_cast<const Opening&>(*declaration);
            if (!hasInterfaces(inner))
                continue;
            if (!CxxNames::isCxxScope(*inner.module)) {
                all(inner);
                continue;
            }
            // With a prefix the name is no keyword, and needs no escape.
            const std::string name =
                prefix.empty() ? unit.names.local(*inner.module) : prefix + inner.module->name;
            out.blankLine();
            out.print("namespace $name$ {", {{"name", name}});
            all(inner);
            out.blankLine();
            out.print("} // namespace $name$", {{"name", name}});
        }
    };
    all(unit.model.contents());
}

} // namespace harbidl
