#include "generate/servant.h"

#include "generate/calls.h"
#include "generate/interfaces.h"
#include "generate/skel_header.h"

namespace harbidl {

namespace {

std::string servantName(const Unit& unit, const Interface& interface) {
    return (CxxNames::isCxxScope(*interface.scope) ? interface.name : unit.names.local(interface)) + "Impl";
}

void declare(const Unit& unit, Emitter& out, const Interface& interface) {
    const std::string name = servantName(unit, interface);
    out.comment(interface.comment);
    out.print(R"(
        class $name$ : public $skeleton$ {
        public:
            explicit $name$(const char* object_name = nullptr);

    )",
              {{"name", name}, {"skeleton", skeletonGlobalName(unit, interface)}});
    const Emitter::Indented indented(out);
    for (const Interface* owner : withBases(interface)) {
        for (const Call& call : callsOf(*owner, unit.names)) {
            const Signature signature(call, interface, unit.names, unit.types);
            out.list(signature.returned + " " + call.name + "(", signature.parameters, ", ", ") override;");
        }
    }
}

void define(const Unit& unit, Emitter& out, const Interface& interface) {
    const std::string name = servantName(unit, interface);
    const std::string skeleton = skeletonGlobalName(unit, interface);
    out.print("$name$::$name$(const char* object_name) : $skeleton$(object_name) {}",
              {{"name", name}, {"skeleton", skeleton}});
    for (const Interface* owner : withBases(interface)) {
        for (const Call& call : callsOf(*owner, unit.names)) {
            std::vector<std::string> parameters;
            for (const Parameter& parameter : call.parameters)
                // The name is a comment, so that compilers do not warn about parameters that are not used
                // yet.
                parameters.push_back(
                    unit.types.parameter(interface, parameter, "/*" + parameter.name + "*/"));
            // Before the function's name C++ looks names up outside of the class.
            const std::string returned =
                call.result ? unit.types.returned(*interface.scope, *call.result) : "void";
            out.blankLine();
            out.list(returned + " " + name + "::" + call.name + "(", parameters, ", ", ") {");
            out.print(R"(
                    throw CORBA_NO_IMPLEMENT();
                }
            )");
        }
    }
}

} // namespace

std::string servantHeader(const Unit& unit) {
    Emitter out;
    beginHeader(unit, out, "Servants for " + unit.source + ".");
    printInterfaces(unit, out, {}, [&](const Interface& interface) {
        declare(unit, out, interface);
        out.print("};");
    });
    return out.text();
}

std::string servantSource(const Unit& unit) {
    Emitter out;
    out.print("#include \"$header$\"", {{"header", unit.header}});
    printInterfaces(unit, out, {}, [&](const Interface& interface) { define(unit, out, interface); });
    return out.text();
}

} // namespace harbidl
