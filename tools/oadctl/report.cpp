#include "oadctl/report.h"

#include "base/printable.h"
#include "object/corba_orb.h"

#include <cstdio>
#include <memory>
#include <ostream>
#include <string_view>
#include <vector>

using namespace harbolance;

namespace {

constexpr const char* policies[] = {"shared", "unshared", "per-method"};
constexpr const char* states[] = {"registered", "starting", "active", "failed"};

std::string policyText(CORBA_ULong policy) { return policy < 3 ? policies[policy] : std::to_string(policy); }

std::vector<std::string> textsOf(CORBA_StringSequence* given) {
    const std::unique_ptr<CORBA_StringSequence> owned(given);
    std::vector<std::string> texts;
    for (CORBA_ULong i = 0; i < owned->length(); ++i)
        texts.emplace_back((*owned)[i]);
    return texts;
}

std::string octetsOf(const CORBA_OctetSequence& sequence) {
    std::string octets;
    for (CORBA_ULong i = 0; i < sequence.length(); ++i)
        octets += static_cast<char>(sequence[i]);
    return octets;
}

std::string referenceOf(CORBA_Object* object) {
    const CORBA_String_var text(currentORB()->object_to_string(object));
    return text.in();
}

// --- For people --------------------------------------------------------------------------------------------

// The daemon gives servers that it has started the negative of their process id as number.
std::string serverText(const Activation::ObjectStatus& status) {
    if (status.uid < 0)
        return ", process " + std::to_string(-static_cast<long>(status.uid));
    return status.state == Activation::active ? ", started by user " + std::to_string(status.uid) : "";
}

void printStates(std::ostream& out, const Activation::ImplementationStatus& one) {
    for (CORBA_ULong i = 0; i < one.objects.length(); ++i) {
        const Activation::ObjectStatus& status = one.objects[i];
        out << objectText(one.impl.interface_name(), one.impl.object_name()) << ": " << states[status.state]
            << serverText(status) << "\n";
    }
}

void printDefinition(std::ostream& out, const TRXEXT_CreationImplDef& impl) {
    out << objectText(impl.interface_name(), impl.object_name()) << "\n    program   "
        << wordText(impl.path_name());
    for (const std::string& argument : textsOf(impl.args()))
        out << ' ' << wordText(argument);
    out << "\n    policy    " << policyText(impl.activation_policy()) << "\n";
    for (const std::string& variable : textsOf(impl.env()))
        out << "    variable  " << wordText(variable) << "\n";
    if (impl.id().length() > 0)
        out << "    data      " << printable(octetsOf(impl.id())) << "\n";
}

// --- For programs ------------------------------------------------------------------------------------------

std::string json(std::string_view text) {
    std::string result = "\"";
    while (!text.empty()) {
        const size_t size = utf8Size(text);
        const std::string_view character = text.substr(0, size > 0 ? size : 1);
        text.remove_prefix(character.size());
        char escape[8];
        if (size == 0) {
            result += "\\ufffd";
        } else if (isControl(character)) {
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned char>(character.back()));
            result += escape;
        } else {
            if (character == "\"" || character == "\\")
                result += '\\';
            result += character;
        }
    }
    return result + "\"";
}

std::string json(const std::vector<std::string>& texts) {
    std::string result = "[";
    for (const std::string& text : texts)
        result += (result.size() > 1 ? ", " : "") + json(text);
    return result + "]";
}

// Octets as hexadecimal digits: they need not be text.
std::string hexadecimal(const std::string& octets) {
    std::string result;
    for (const char octet : octets) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(octet));
        result += digits;
    }
    return result;
}

std::string json(const Activation::ObjectStatus& status) {
    const std::string reference = status.ref.in() ? json(referenceOf(status.ref.in())) : "null";
    return "{\"state\": " + json(states[status.state]) + ", \"uid\": " + std::to_string(status.uid) +
           ", \"reference\": " + reference + "}";
}

std::string json(const Activation::ImplementationStatus& one, bool withStates) {
    const TRXEXT_CreationImplDef& impl = one.impl;
    std::string text =
        "{\"interface\": " + json(impl.interface_name()) + ", \"name\": " + json(impl.object_name()) +
        ",\n     \"path\": " + json(impl.path_name()) + ", \"arguments\": " + json(textsOf(impl.args())) +
        ",\n     \"environment\": " + json(textsOf(impl.env())) +
        ", \"policy\": " + json(policyText(impl.activation_policy())) +
        ", \"data\": " + json(hexadecimal(octetsOf(impl.id())));
    if (withStates) {
        text += ",\n     \"objects\": [";
        for (CORBA_ULong i = 0; i < one.objects.length(); ++i)
            text += (i > 0 ? ",\n       " : "") + json(one.objects[i]);
        text += "]";
    }
    return text + "}";
}

} // namespace

std::string objectText(const std::string& interface, const std::string& name) {
    const std::string text = '"' + withoutControls(interface) + '"';
    return name.empty() ? text : text + " \"" + withoutControls(name) + '"';
}

std::string wordText(const std::string& word) {
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
                                       "_@%+=:,./-";
    if (!word.empty() && word.find_first_not_of(plain) == word.npos)
        return word;
    std::string quoted = "'";
    for (const char c : withoutControls(word))
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

void report(std::ostream& out, const Activation::ImplementationStatusSeq& implementations, ReportForm form) {
    const CORBA_ULong count = implementations.length();
    if (form.json)
        out << "{\"implementations\": [";
    else if (count == 0)
        out << "Nothing is registered.\n";
    for (CORBA_ULong i = 0; i < count; ++i) {
        if (form.json)
            out << (i > 0 ? ",\n    " : "\n    ") << json(implementations[i], form.states);
        else if (form.states)
            printStates(out, implementations[i]);
        else
            printDefinition(out, implementations[i].impl);
    }
    if (form.json)
        out << "]}\n";
}
