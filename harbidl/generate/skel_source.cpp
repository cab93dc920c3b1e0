#include "generate/calls.h"
#include "generate/interfaces.h"
#include "generate/literals.h"
#include "generate/skel_header.h"

#include <algorithm>

namespace harbidl {

namespace {

using Direction = Parameter::Direction;

// Strings, or structs of numbers and strings: types for which harbolance::ReusedArgument is allowed.
bool holdsPlainTexts(const Type& type) {
    const Type& real = unaliased(type);
    if (handlingOf(real) == Handling::string)
        return real.bound == 0;
    if (real.kind != TypeKind::structure)
        return false;
    const auto& members = static_cast<const Struct&>(*real.declaration).members;
    return real.variable && std::all_of(members.begin(), members.end(), [](const Member* member) {
               return handlingOf(*member->type) == Handling::number || holdsPlainTexts(*member->type);
           });
}

bool isReused(const Type& type) {
    const Type& real = unaliased(type);
    return real.kind == TypeKind::sequence && holdsPlainTexts(*real.element);
}

// One argument in the function that serves a request.
struct Local {
    Local(const Unit& unit, const Interface& from, const Parameter& parameter, const std::string& name,
          const std::string& request);

    std::string declaration;
    std::string passed;  // to the servant
    std::string read;    // from the request; empty for an out argument
    std::string written; // into the reply; empty for an in argument
};

Local::Local(const Unit& unit, const Interface& from, const Parameter& parameter, const std::string& name,
             const std::string& request)
    : passed(name) {
    const Type& type = *parameter.type;
    const Handling handling = handlingOf(type);
    const bool in = parameter.direction == Direction::in;
    const bool out = parameter.direction == Direction::out;
    const bool array = handling == Handling::array;
    if (!out && isReused(type)) {
        declaration = "harbolance::ReusedArgument<" + unit.types.member(from, type) + "> " + name + "(" +
                      request + ");";
        passed = read = "*" + name;
        written = in ? "" : passed;
        return;
    }
    // Owned by a _var, which also takes ownership of a value that the servant stores.
    const bool owned =
        handling == Handling::string || handling == Handling::wstring || handling == Handling::reference;
    // The servant makes the value on the heap and returns its pointer, which another _var must own.
    const bool allocated = out && !owned && isGivenByPointer(type) && (!array || type.variable);
    const std::string elements = array ? "harbolance::elements(" + name + ")" : name;
    // Initialised, because a value that the servant does not set is sent, and must not reveal uninitialised
    // memory.
    const bool zero = handling == Handling::number || (array && out);
    declaration = (allocated ? unit.types.holder(from, type) : unit.types.member(from, type)) + " " + name +
                  (zero && !allocated ? "{};" : ";");
    if (owned || allocated)
        passed += in ? ".in()" : out ? ".out()" : ".inout()";
    const Type& real = unaliased(type);
    // A sequence of octets may borrow those in the message, which lives as long as the call. A bounded one is
    // copied, because copying checks the bound.
    const bool octets = real.kind == TypeKind::sequence && real.bound == 0 &&
                        unaliased(*real.element).kind == TypeKind::octet;
    if (!out)
        read = in && octets ? "harbolance::inMessage(" + name + ")" : elements;
    if (!in)
        written = allocated ? "harbolance::given(" + name + ")" : elements;
}

class SkeletonCode {
public:
    SkeletonCode(const Unit& unit, Emitter& out, const Interface& interface)
        : unit_(unit), out_(out), interface_(interface), calls_(callsOf(interface, unit.names)),
          type_(unit.names.seenFrom(interface, interface)) {}

    void print();

private:
    void constructors();
    void function(const Call& call);
    void body(const Call& call, const Signature& signature);
    std::string answered(const Call& call, const std::string& invocation);
    void table();

    // A name based on `name` that no parameter of the operation has.
    std::string free(const Call& call, const std::string& name) const;

    const Unit& unit_;
    Emitter& out_;
    const Interface& interface_;
    const std::vector<Call> calls_;
    const std::string type_;
};

void SkeletonCode::print() {
    constructors();
    // The name of the skeleton without its "_sk_".
    const std::string functions = "_calls_" + skeletonName(unit_, interface_).substr(4);
    out_.print(R"(

        namespace {
        namespace $functions$ {
    )",
               {{"functions", functions}});
    for (const Call& call : calls_)
        function(call);
    table();
    out_.print(R"(

        } // namespace $functions$
        } // namespace
    )",
               {{"functions", functions}});
}

void SkeletonCode::constructors() {
    out_.print(R"(
        $name$::$name$(const char* object_name) { _object_name(object_name); }
        $name$::$name$(const char* service_name, const CORBA_OctetSequence& id) {
            _service(service_name, id);
        }
    )",
               {{"name", skeletonName(unit_, interface_)}});
}

void SkeletonCode::function(const Call& call) {
    // An unused parameter gets no name, because compilers would warn.
    const bool reads = std::any_of(call.parameters.begin(), call.parameters.end(),
                                   [](const Parameter& one) { return one.direction != Direction::out; });
    out_.blankLine();
    out_.list("void " + (call.ofAttribute ? call.operation : call.name) + "(",
              {"void* " + free(call, "object"),
               "CORBA_MarshalInBuffer&" + (reads ? " " + free(call, "arguments") : ""),
               "CORBA_OctetSequence*", "const char*", call.oneway ? "void*" : "void* " + free(call, "pdata")},
              ", ", ") {");
    {
        const Emitter::Indented indented(out_);
        body(call, Signature(call, interface_, unit_.names, unit_.types));
    }
    out_.print("}");
}

void SkeletonCode::body(const Call& call, const Signature& signature) {
    std::vector<std::string> passed, read, written;
    const std::string servant = free(call, "servant");
    out_.print("auto* const $servant$ = static_cast<$type$*>($object$);",
               {{"servant", servant}, {"type", type_}, {"object", free(call, "object")}});
    for (size_t i = 0; i < call.parameters.size(); ++i) {
        // One local for each parameter, in the order of the definition, which is also the order in the
        // request and the reply.
        const Local local(unit_, interface_, call.parameters[i], signature.names[i], free(call, "arguments"));
        out_.print(local.declaration);
        passed.push_back(local.passed);
        if (!local.read.empty())
            read.push_back(">> " + local.read);
        if (!local.written.empty())
            written.push_back("<< " + local.written);
    }
    if (!read.empty())
        out_.list(free(call, "arguments") + " ", read, " ", ";");
    const std::string reply = "*" + servant + "->_prepare_reply(" + free(call, "pdata") + ")";
    std::string head = servant + "->" + call.name + "(";
    std::string tail = ");";
    if (call.result) {
        const std::string result = free(call, "result");
        // For attributes that are numbers one expression is enough, in which the reply is begun before the
        // servant is called. All other calls are made first, and the reply is begun after them. An exception
        // gets another buffer in both cases.
        if (call.ofAttribute && handlingOf(*call.result) == Handling::number)
            return out_.print("$reply$ << $call$);", {{"reply", reply}, {"call", head}});
        if (!isGivenByPointer(*call.result)) {
            head = "const " + unit_.types.plain(interface_, *call.result) + " " + result + " = " + head;
        } else {
            head = "const " + unit_.types.holder(interface_, *call.result) + " " + result + "(" + head;
            tail = "));";
        }
        const Handling handling = handlingOf(*call.result);
        // A pointer that may be null by mistake is checked. Strings are checked when they are written; a nil
        // reference is a valid value.
        const bool checked =
            isGivenByPointer(*call.result) && (handling == Handling::value || handling == Handling::array);
        // In the reply the result comes before the out arguments.
        written.insert(written.begin(), checked ? "<< harbolance::given(" + result + ")" : "<< " + result);
    }
    out_.list(head, passed, ", ", tail);
    // There is no reply to write into.
    if (call.oneway)
        return;
    // An empty reply is sent as well, because the client waits for it.
    if (written.empty())
        return out_.print("$reply$;", {{"reply", reply.substr(1)}});
    out_.list(reply + " ", written, " ", ";");
}

void SkeletonCode::table() {
    const std::string name = cxxString(interface_.scopedName());
    out_.blankLine();
    // C++ has no arrays without elements.
    if (calls_.empty())
        return out_.print("const CORBA_TypeInfo _skeleton($name$, 0, nullptr);", {{"name", name}});
    out_.print("constexpr TRXMethod _methods[] = {");
    for (const Call& call : calls_) {
        const Emitter::Indented indented(out_);
        out_.print("{$operation$, $function$},",
                   {{"operation", cxxString(call.operation)},
                    {"function", call.ofAttribute ? call.operation : call.name}});
    }
    out_.print(R"(
        };
        const CORBA_TypeInfo _skeleton($name$, std::size(_methods), _methods);
    )",
               {{"name", name}});
}

std::string SkeletonCode::free(const Call& call, const std::string& name) const {
    const bool taken = std::any_of(call.parameters.begin(), call.parameters.end(),
                                   [&](const Parameter& parameter) { return parameter.name == name; });
    // A name of IDL does not begin with an underscore, so this one is free.
    return taken ? "_" + name + "_" : unit_.names.parameter(name);
}

} // namespace

std::string skelSource(const Unit& unit) {
    Emitter out;
    beginSource(unit, out);
    printInterfaces(unit, out, "_sk_",
                    [&](const Interface& interface) { SkeletonCode(unit, out, interface).print(); });
    return out.text();
}

} // namespace harbidl
