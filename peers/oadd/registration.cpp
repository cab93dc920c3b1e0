#include "oadd/registration.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace oadd {

namespace {

constexpr size_t longestName = 1000; // must fit, twice, into a datagram to the agent
constexpr size_t mostOctets = 64 << 10;
constexpr size_t mostWords = 1000;

std::string orEmpty(const char* text) { return text ? text : ""; }

std::vector<std::string> textsOf(CORBA_StringSequence* given) {
    const std::unique_ptr<CORBA_StringSequence> owned(given);
    std::vector<std::string> texts;
    for (CORBA_ULong i = 0; i < owned->length(); ++i)
        texts.push_back(orEmpty((*owned)[i]));
    return texts;
}

CORBA_StringSequence sequenceOf(const std::vector<std::string>& texts) {
    CORBA_StringSequence sequence;
    sequence.length(static_cast<CORBA_ULong>(texts.size()));
    for (size_t i = 0; i < texts.size(); ++i)
        sequence[static_cast<CORBA_ULong>(i)] = texts[i].c_str();
    return sequence;
}

bool isVariableName(std::string_view name) {
    const auto isPart = [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
    };
    return !name.empty() && !(name[0] >= '0' && name[0] <= '9') &&
           std::all_of(name.begin(), name.end(), isPart);
}

// Whether the dynamic loader, the C library or a usual interpreter runs code that the variable names.
bool loadsOtherCode(std::string_view name) {
    constexpr std::array<std::string_view, 22> names = {
        "BASH_ENV",         "ENV",       "GCONV_PATH", "GETCONF_DIR",  "GLIBC_TUNABLES", "JAVA_TOOL_OPTIONS",
        "JDK_JAVA_OPTIONS", "LUA_CPATH", "LUA_INIT",   "LUA_PATH",     "NODE_OPTIONS",   "NODE_PATH",
        "PERL5DB",          "PERL5LIB",  "PERL5OPT",   "PYTHONHOME",   "PYTHONPATH",     "PYTHONSTARTUP",
        "PYTHONUSERBASE",   "RUBYLIB",   "RUBYOPT",    "_JAVA_OPTIONS"};
    return name.starts_with("LD_") || std::find(names.begin(), names.end(), name) != names.end();
}

std::string faultOfVariable(const std::string& variable) {
    const size_t equals = variable.find('=');
    const std::string name = variable.substr(0, equals);
    if (equals == variable.npos || !isVariableName(name))
        return "the variable '" + variable + "' is not of the form NAME=VALUE";
    if (loadsOtherCode(name))
        return "the variable " + name + " could make the program load other code than its own";
    return {};
}

} // namespace

std::string toText(const ObjectName& object) {
    const std::string interface = '"' + object.repId + '"';
    return object.name.empty() ? interface : interface + " \"" + object.name + '"';
}

Registration registrationOf(const TRXEXT_CreationImplDef& definition) {
    Registration made;
    made.object = {orEmpty(definition.interface_name()), orEmpty(definition.object_name())};
    const CORBA_OctetSequence& id = definition.id();
    for (CORBA_ULong i = 0; i < id.length(); ++i)
        made.data += static_cast<char>(id[i]);
    made.path = orEmpty(definition.path_name());
    made.policy = definition.activation_policy();
    made.arguments = textsOf(definition.args());
    made.environment = textsOf(definition.env());
    return made;
}

TRXEXT_CreationImplDef definitionOf(const Registration& registration) {
    CORBA_OctetSequence id;
    id.length(static_cast<CORBA_ULong>(registration.data.size()));
    for (size_t i = 0; i < registration.data.size(); ++i)
        id[static_cast<CORBA_ULong>(i)] = static_cast<CORBA_Octet>(registration.data[i]);
    return {registration.object.repId.c_str(),
            registration.object.name.c_str(),
            id,
            registration.path.c_str(),
            sequenceOf(registration.arguments),
            sequenceOf(registration.environment),
            registration.policy};
}

std::string faultOf(const Registration& registration) {
    const ObjectName& object = registration.object;
    size_t octets = registration.data.size() + registration.path.size();
    std::vector<std::string_view> texts = {object.repId, object.name, registration.path};
    for (const auto* words : {&registration.arguments, &registration.environment}) {
        texts.insert(texts.end(), words->begin(), words->end());
        for (const std::string& word : *words)
            octets += word.size() + 1;
    }
    for (const std::string_view text : texts) {
        if (text.find('\0') != text.npos)
            return "a text has a zero octet";
    }
    if (object.repId.empty())
        return "there is no interface";
    if (object.repId.size() + object.name.size() > longestName)
        return "interface and name have more than 1000 octets";
    if (octets > mostOctets || texts.size() > mostWords)
        return "the program's words have more than 64 KiB, or there are more than 1000";
    if (registration.policy > SERVER_PER_METHOD)
        return "there is no activation policy " + std::to_string(registration.policy);
    for (const std::string& variable : registration.environment) {
        if (std::string fault = faultOfVariable(variable); !fault.empty())
            return fault;
    }
    return {};
}

const char* nameOfPolicy(CORBA_ULong policy) {
    switch (policy) {
    case SHARED_SERVER: return "shared";
    case UNSHARED_SERVER: return "unshared";
    default: return "per-method";
    }
}

std::string shellWord(const std::string& word) {
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
                                       "_@%+=:,./-";
    if (!word.empty() && word.find_first_not_of(plain) == word.npos)
        return word;
    std::string quoted = "'";
    for (const char c : word)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

} // namespace oadd
