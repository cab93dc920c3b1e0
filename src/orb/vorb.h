#pragma once

#include "marshal/exception/orb_exceptions.h"
#include "marshal/sequence/string_sequence.h"
#include "object/vobject.h"
#include "object/vprop.h"
#include "orb/module_registry.h"

#include <memory>

// The ORB: how a program starts it and what it asks of it. The steps of the start-up and the shut-down are in
// start_up.cpp, what takes part in them in module_registry.h.

// It is not counted: the references that programs duplicate and release are all to the one ORB, which lives
// until the process ends.
class CORBA_ORB {
public:
    using InvalidName = CORBA_ORB_InvalidName;

    static CORBA_ORB* _duplicate(CORBA_ORB* orb) { return orb; }
    static CORBA_ORB* _nil() { return nullptr; }

    // The names that `resolve_initial_references` knows; the caller owns the sequence.
    virtual CORBA_StringSequence* list_initial_services() = 0;
    // The object, or nil; the caller owns the reference. Raises CORBA_ORB_InvalidName for an unknown name,
    // CORBA_OBJECT_NOT_EXIST when the process has no initial references at all, and what the resolver raises.
    virtual CORBA_Object* resolve_initial_references(const char* name) = 0;
    virtual ~CORBA_ORB();
};

inline void CORBA_release(CORBA_ORB*) {}
inline bool CORBA_is_nil(const CORBA_ORB* orb) { return orb == nullptr; }

using CORBA_ORB_ptr = CORBA_ORB*;
using CORBA_ORB_var = TRXVar<CORBA_ORB>;

// Starts the ORB with the id that `orb_id`, or else -ORBid, or else "ORB" names, and returns it; later calls
// return the same one, which stays the library's. Null for an unknown id.
//
// Every call takes the -ORB words and those of the modules out of `argv`, keeping the order of the rest, puts
// them into the ORB's properties and applies these; a faulty option ends the process with a message. The
// first call also
//   - makes a failing `operator new` raise CORBA_NO_RESOURCES with errno as minor code,
//   - has SIGINT and SIGTERM shut the ORB down and end the process with status 0 at once, where the program
//     has left them at their default,
//   - and has a normal exit shut the ORB down.
CORBA_ORB* CORBA_ORB_init(int& argc, char** argv, const char* orb_id = nullptr);

// Without a command line: the usual way to the ORB that is there.
CORBA_ORB* CORBA_ORB_init();

class TRXORB : public CORBA_ORB, public TRXPropertyList {
public:
    // Parses the words of `argv` that start with `prefix` and becomes the current ORB.
    TRXORB(const char* name, CORBA_Long key, int& argc, char** argv, const char* prefix);
    ~TRXORB() override;

    // Null before the first CORBA_ORB_init.
    static TRXORB* current();

    CORBA_StringSequence* list_initial_services() override;
    CORBA_Object* resolve_initial_references(const char* name) override;
    // Applies the properties that this class has fields for.
    virtual void readProperties();

    // Also applies what it reads.
    void parse(int& argc, char** argv, const char* prefix) override;

    const std::string& name() const { return _name; }
    CORBA_Long key() const { return _key; }
    // Whether objects are announced to agents and looked up through them.
    bool agentEnabled() const { return _agentEnabled; }

private:
    std::string _name;
    CORBA_Long _key; // of its factory
    bool _agentEnabled = true;
};

// Makes the one ORB there is, for profiles of the Internet protocol.
class TRXIIOPORBFactory : public TRXORBFactory {
public:
    TRXIIOPORBFactory() : TRXORBFactory("ORB", 0) {}
    CORBA_ORB* create(int& argc, char** argv) override;

private:
    std::unique_ptr<TRXORB> _orb;
};
