#include "generate/stub_calls.h"

#include "generate/calls.h"
#include "generate/literals.h"

namespace harbidl {

namespace {

// The expression that passes an argument.
std::string passed(const Unit& unit, const Scope& from, const Parameter& parameter, const std::string& name) {
    const Type& type = *parameter.type;
    const std::string direction = parameter.direction == Parameter::Direction::in    ? "harbolance::in"
                                  : parameter.direction == Parameter::Direction::out ? "harbolance::out"
                                                                                     : "harbolance::inout";
    // The usual case: the C++ type alone determines how the value is marshalled.
    if (!isAmbiguousArgument(type))
        return direction + "(" + name + ")";
    const std::string named = "<" + unit.types.member(from, *parameter.type) + ">(" + name + ")";
    // The library allocates this array and returns it by its pointer; it is not in the caller's memory.
    const bool allocated = parameter.direction == Parameter::Direction::out && type.variable;
    return handlingOf(type) == Handling::array && !allocated ? direction + "(harbolance::array" + named + ")"
                                                             : direction + named;
}

void printCall(const Unit& unit, Emitter& out, const Scope& from, const Interface& interface,
               const Call& call) {
    const Signature signature(call, interface, unit.names, unit.types);
    const std::string returned = call.result ? unit.types.returned(from, *call.result) : "void";
    std::vector<std::string> arguments{"*this", cxxString(call.operation)};
    for (size_t i = 0; i < call.parameters.size(); ++i)
        arguments.push_back(passed(unit, interface, call.parameters[i], signature.names[i]));
    std::string statement = call.oneway ? "harbolance::callOneway(" : "harbolance::call(";
    if (call.result)
        statement = "return harbolance::call<" +
                    (isAmbiguousArgument(*call.result) ? unit.types.member(interface, *call.result)
                                                       : signature.returned) +
                    ">(";
    out.blankLine();
    out.list(returned + " " + unit.names.seenFrom(from, interface) + "::" + call.name + "(",
             signature.parameters, ", ", ") {");
    {
        const Emitter::Indented indented(out);
        out.list(statement, arguments, ", ", ");");
    }
    out.print("}");
}

} // namespace

void printStubCalls(const Unit& unit, Emitter& out, const Scope& from, const Interface& interface) {
    for (const Call& call : callsOf(interface, unit.names))
        printCall(unit, out, from, interface, call);
}

} // namespace harbidl
