#pragma once

#include "marshal/sequence/octet_sequence.h"
#include "marshal/sequence/string_sequence.h"
#include "marshal/text/vstr.h"

#include <iosfwd>

class Activator;

// How many clients one process of an implementation serves.
enum CORBA_ActivationPolicy : CORBA_ULong {
    SHARED_SERVER,     // all of them
    UNSHARED_SERVER,   // one; the process ends with its connection
    SERVER_PER_METHOD, // one call of one; the process ends after it
};

// Describes an object's implementation to its adapter and to an activation daemon. Definitions are values:
// _duplicate makes a copy, so a change of one is not visible in the other.
class CORBA_ImplementationDef {
public:
    CORBA_ImplementationDef() = default;
    CORBA_ImplementationDef(const char* interface_name, const char* object_name,
                            const CORBA_OctetSequence& id)
        : _interface_name(interface_name), _object_name(object_name), _id(id) {}
    CORBA_ImplementationDef(const CORBA_ImplementationDef&) = default;
    CORBA_ImplementationDef& operator=(const CORBA_ImplementationDef&) = default;

    virtual CORBA_ImplementationDef* _clone() const; // a copy of the same class, owned by the caller
    virtual const char* _type_name() const;          // one pointer for all objects of a class
    virtual ~CORBA_ImplementationDef();

    const char* interface_name() const { return _interface_name.in(); }
    void interface_name(const char* name) { _interface_name = name; }
    const char* object_name() const { return _object_name.in(); }
    void object_name(const char* name) { _object_name = name; }
    const CORBA_OctetSequence& id() const { return _id; }
    void id(const CORBA_OctetSequence& id) { _id = id; }

    // Null is accepted.
    static CORBA_ImplementationDef* _duplicate(const CORBA_ImplementationDef* def) {
        return def ? def->_clone() : nullptr;
    }
    static void _release(const CORBA_ImplementationDef* def) { delete def; }

private:
    CORBA_String_var _interface_name;
    CORBA_String_var _object_name;
    CORBA_OctetSequence _id;
};

using CORBA_ImplementationDef_ptr = CORBA_ImplementationDef*;

// For an implementation that an activation daemon can start.
class TRXEXT_CreationImplDef : public CORBA_ImplementationDef {
public:
    static constexpr CORBA_ULong _minimum_octets = 28; // on the wire

    TRXEXT_CreationImplDef() = default;
    TRXEXT_CreationImplDef(const char* interface_name, const char* object_name, const CORBA_OctetSequence& id,
                           const char* path_name, const CORBA_StringSequence& args,
                           const CORBA_StringSequence& env, CORBA_ULong activation_policy)
        : CORBA_ImplementationDef(interface_name, object_name, id), _path_name(path_name),
          _activation_policy(activation_policy), _args(args), _env(env) {}

    TRXEXT_CreationImplDef* _clone() const override;
    const char* _type_name() const override;

    const char* path_name() const { return _path_name.in(); }
    void path_name(const char* path) { _path_name = path; }
    // SHARED_SERVER (0), UNSHARED_SERVER (1) or SERVER_PER_METHOD (2).
    CORBA_ULong activation_policy() const { return _activation_policy; }
    void activation_policy(CORBA_ULong policy) { _activation_policy = policy; }
    // The returned sequences are copies, which the caller owns.
    CORBA_StringSequence* args() const { return new CORBA_StringSequence(_args); }
    void args(const CORBA_StringSequence& args) { _args = args; }
    CORBA_StringSequence* env() const { return new CORBA_StringSequence(_env); }
    void env(const CORBA_StringSequence& env) { _env = env; }

    // A copy, which the caller owns; null unless `def` is of exactly this class.
    static TRXEXT_CreationImplDef* _narrow(const CORBA_ImplementationDef* def);

    friend TRXostream& operator<<(TRXostream& stream, const TRXEXT_CreationImplDef& def);
    friend TRXistream& operator>>(TRXistream& stream, TRXEXT_CreationImplDef& def);
    friend std::ostream& operator<<(std::ostream& stream, const TRXEXT_CreationImplDef& def);

private:
    CORBA_String_var _path_name;
    CORBA_ULong _activation_policy = 0;
    CORBA_StringSequence _args;
    CORBA_StringSequence _env;
};

// For an implementation whose servant an activator in this process makes on demand.
class TRXEXT_ActivationImplDef : public CORBA_ImplementationDef {
public:
    TRXEXT_ActivationImplDef() = default;
    TRXEXT_ActivationImplDef(const char* interface_name, const char* object_name,
                             const CORBA_OctetSequence& id, Activator* activator)
        : CORBA_ImplementationDef(interface_name, object_name, id), _activator(activator) {}

    TRXEXT_ActivationImplDef* _clone() const override;
    const char* _type_name() const override;

    Activator* activator() const { return _activator; } // owned by the application
    void activator(Activator* activator) { _activator = activator; }

    // A copy, which the caller owns; null unless `def` is of exactly this class.
    static TRXEXT_ActivationImplDef* _narrow(const CORBA_ImplementationDef* def);

private:
    Activator* _activator = nullptr;
};

// The wire form. A creation definition is written completely, of any other definition only the base's fields.
TRXostream& operator<<(TRXostream& stream, const CORBA_ImplementationDef& def);
TRXistream& operator>>(TRXistream& stream, CORBA_ImplementationDef& def);
// The caller owns the definition that is read. Writing null raises CORBA_BAD_PARAM.
TRXostream& operator<<(TRXostream& stream, const TRXEXT_CreationImplDef* def);
TRXistream& operator>>(TRXistream& stream, TRXEXT_CreationImplDef*& def);
// Readable lines on cout, cerr and clog; the text encoding of the wire form on any other stream.
std::ostream& operator<<(std::ostream& stream, const CORBA_ImplementationDef& def);
