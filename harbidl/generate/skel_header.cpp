#include "generate/skel_header.h"

#include "generate/calls.h"
#include "generate/interfaces.h"

namespace harbidl {

namespace {

void printSkeleton(const Unit& unit, Emitter& out, const Interface& interface) {
    const std::string name = skeletonName(unit, interface);
    std::vector<std::string> bases{"public virtual " + unit.names.seenFrom(interface, interface)};
    // Skeletons derive from each other as the interfaces do, so that a servant inherits the operations of
    // all. Bases are virtual because an interface may be reached by several paths.
    for (const Interface* base : interface.bases)
        bases.push_back("public virtual " + (base->scope == interface.scope
                                                 ? skeletonName(unit, *base)
                                                 : skeletonGlobalName(unit, *base)));
    out.list("class " + name + " : ", bases, ", ", " {");
    out.print("public:");
    {
        const Emitter::Indented indented(out);
        for (const Call& call : callsOf(interface, unit.names)) {
            const Signature signature(call, interface, unit.names, unit.types);
            out.list(signature.returned + " " + call.name + "(", signature.parameters, ", ",
                     ") override = 0;");
        }
    }
    out.blankLine();
    out.print(R"(
        protected:
            explicit $name$(const char* object_name = nullptr);
            $name$(const char* service_name, const CORBA_OctetSequence& id);
        };
    )",
              {{"name", name}});
}

} // namespace

std::string skeletonName(const Unit& unit, const Interface& interface) {
    return "_sk_" + (CxxNames::isCxxScope(*interface.scope) ? interface.name : unit.names.local(interface));
}

std::string skeletonGlobalName(const Unit& unit, const Interface& interface) {
    std::string name;
    for (const Scope* scope : CxxNames::namespaces(*interface.scope))
        name += "_sk_" + scope->name + "::";
    return name + skeletonName(unit, interface);
}

std::string skelHeader(const Unit& unit) {
    Emitter out;
    beginHeader(unit, out, generatedFrom(unit));
    out.blankLine();
    out.comment(
        "What servants derive from. The object is made under a name, or without one as a transient object,\n"
        "or as one of the objects of a service.");
    printInterfaces(unit, out, "_sk_",
                    [&](const Interface& interface) { printSkeleton(unit, out, interface); });
    return out.text();
}

} // namespace harbidl
