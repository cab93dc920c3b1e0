#include "object/implementation_def.h"

#include "marshal/text/print_line.h"

#include <memory>
#include <string>

using namespace harbolance;

namespace {

// A class is identified by the address of its name.
constexpr char plainName[] = "CORBA::ImplementationDef";
constexpr char creationName[] = "extension::CreationImplDef";
constexpr char activationName[] = "extension::ActivationImplDef";

std::string orEmpty(const char* text) { return text ? text : ""; }

void printPlain(std::ostream& stream, const CORBA_ImplementationDef& def) {
    TRXostream lines(stream);
    printLine(lines, {"Interface Name: ", orEmpty(def.interface_name())});
    printLine(lines, {"Object Name: ", orEmpty(def.object_name())});
    stream << "Reference Data: " << def.id();
}

template <class Def>
Def* narrowed(const CORBA_ImplementationDef* def, const char* name) {
    // The name identifies the exact class (a derived class returns another one), so the cast is safe.
    return def && def->_type_name() == name ? static_cast<const Def*>(def)->_clone() : nullptr;
}

} // namespace

CORBA_ImplementationDef::~CORBA_ImplementationDef() = default;

CORBA_ImplementationDef* CORBA_ImplementationDef::_clone() const {
    return new CORBA_ImplementationDef(*this);
}
TRXEXT_CreationImplDef* TRXEXT_CreationImplDef::_clone() const { return new TRXEXT_CreationImplDef(*this); }
TRXEXT_ActivationImplDef* TRXEXT_ActivationImplDef::_clone() const {
    return new TRXEXT_ActivationImplDef(*this);
}

const char* CORBA_ImplementationDef::_type_name() const { return plainName; }
const char* TRXEXT_CreationImplDef::_type_name() const { return creationName; }
const char* TRXEXT_ActivationImplDef::_type_name() const { return activationName; }

TRXEXT_CreationImplDef* TRXEXT_CreationImplDef::_narrow(const CORBA_ImplementationDef* def) {
    return narrowed<TRXEXT_CreationImplDef>(def, creationName);
}
TRXEXT_ActivationImplDef* TRXEXT_ActivationImplDef::_narrow(const CORBA_ImplementationDef* def) {
    return narrowed<TRXEXT_ActivationImplDef>(def, activationName);
}

TRXostream& operator<<(TRXostream& stream, const CORBA_ImplementationDef& def) {
    return stream << def.interface_name() << def.object_name() << def.id();
}

TRXistream& operator>>(TRXistream& stream, CORBA_ImplementationDef& def) {
    // Everything is read before anything is stored, so that a truncated stream leaves `def` unchanged.
    CORBA_String_var interface, object;
    CORBA_OctetSequence id;
    stream >> interface >> object >> id;
    def = CORBA_ImplementationDef(interface.in(), object.in(), id);
    return stream;
}

TRXostream& operator<<(TRXostream& stream, const TRXEXT_CreationImplDef& def) {
    stream << static_cast<const CORBA_ImplementationDef&>(def);
    return stream << def._path_name << def._activation_policy << def._args << def._env;
}

TRXistream& operator>>(TRXistream& stream, TRXEXT_CreationImplDef& def) {
    // On the wire the base's fields come first.
    stream >> static_cast<CORBA_ImplementationDef&>(def);
    return stream >> def._path_name >> def._activation_policy >> def._args >> def._env;
}

TRXostream& operator<<(TRXostream& stream, const TRXEXT_CreationImplDef* def) {
    if (!def)
        throw CORBA_BAD_PARAM();
    return stream << *def;
}

TRXistream& operator>>(TRXistream& stream, TRXEXT_CreationImplDef*& def) {
    // Set before reading: the caller frees `def` even when the stream raises.
    def = nullptr;
    auto read = std::make_unique<TRXEXT_CreationImplDef>();
    stream >> *read;
    def = read.release();
    return stream;
}

std::ostream& operator<<(std::ostream& stream, const CORBA_ImplementationDef& def) {
    if (isConsole(stream)) {
        printPlain(stream, def);
    } else {
        TRXostream text(stream);
        text << def;
    }
    return stream;
}

std::ostream& operator<<(std::ostream& stream, const TRXEXT_CreationImplDef& def) {
    TRXostream text(stream);
    if (!isConsole(stream)) {
        text << def;
        return stream;
    }
    printPlain(stream, def);
    printLine(text, {"Path: ", orEmpty(def.path_name())});
    printLine(text, {"Policy: ", std::to_string(def.activation_policy())});
    printLine(text, {"Arguments:"});
    stream << def._args;
    printLine(text, {"Env: "});
    return stream << def._env;
}
