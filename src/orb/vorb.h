#pragma once

#include "invoke/stub/profile_orb.h"
#include "object/corba_orb.h"
#include "object/vobject.h"
#include "object/vprop.h"
#include "object/vtypeinf.h"
#include "orb/module_registry.h"

#include <iosfwd>
#include <memory>

class TRXGIOPConnFactory;

// The ORB. The steps of its start-up and shut-down are in start_up.cpp, the modules called by them in
// module_registry.h.

// Starts the ORB with the id `orb_id`, or else the id given by -ORBid, or else "ORB", and returns it. Later
// calls return the same one. The library owns it. Null for an unknown id.
//
// Every call removes the -ORB options and those of the modules from `argv`, keeps the order of the other
// words, stores the options in the ORB's properties and applies them; an option
// without its value, or with a value that a module refuses, ends the process with a message. Other bad values
// are ignored or read as far as they are numbers. The first call also
//   - makes a failing `operator new` raise CORBA_NO_RESOURCES with errno as minor code,
//   - makes SIGINT and SIGTERM shut the ORB down and end the process with status 0, unless the program
//     handles or ignores the signal,
//   - makes a normal exit of the process shut the ORB down.
CORBA_ORB* CORBA_ORB_init(int& argc, char** argv, const char* orb_id = nullptr);

// Without a command line: the usual way to get the ORB that is already started.
CORBA_ORB* CORBA_ORB_init();

class TRXORB : public CORBA_ORB, public TRXPropertyList, public harbolance::ProfileORB {
public:
    // Parses the words of `argv` that start with `prefix` and becomes the current ORB.
    TRXORB(const char* name, CORBA_Long key, int& argc, char** argv, const char* prefix);
    ~TRXORB() override;

    // Null before the first CORBA_ORB_init.
    static TRXORB* current();

    CORBA_BOA* BOA_init(int& argc, char** argv, const char* boa_id = nullptr) override;
    CORBA_StringSequence* list_initial_services() override;
    CORBA_Object* resolve_initial_references(const char* name) override;
    char* object_to_string(CORBA_Object* object) override;
    CORBA_Object* string_to_object(const char* text) override;
    CORBA_Object* bind(const char* rep_id, const char* object_name = nullptr, const char* host_name = nullptr,
                       const CORBA_BindOptions* options = nullptr) override;
    void create_environment(CORBA_Environment*& environment) override;
    void connection_max(CORBA_ULong count) override;
    CORBA_ULong connection_max() override;
    CORBA_ULong connection_count() override;
    void connection_max_idle(CORBA_ULong seconds) override;

    TRXGIOPConn* locate(TRXGIOPConn* connection, IOP::IOR& ior, CORBA_ULong seconds) override;
    // Applies those properties for which this class has members.
    virtual void readProperties();
    IOP::IOR* locate_reference(const char* repId, const char* objectName, const char* host) override;
    // A copy of the profile with another key. The caller owns it.
    virtual IOP::TaggedProfile* rekeyed(const IOP::TaggedProfile& profile, const CORBA_OctetSequence& key);
    // Factories and wrappers for the stubs and servants of an interface. An unknown repository id raises
    // CORBA_BAD_PARAM.
    virtual void set_object_factory(const char* repId, TRXObjectFactory factory);
    virtual void clear_object_factory(const char* repId);
    virtual void add_object_wrapper(const char* repId, TRXObjectFactory factory, CORBA_Boolean client);
    virtual void remove_object_wrapper(const char* repId, TRXObjectFactory factory, CORBA_Boolean client);
    CORBA_OctetSequence* object_key(const IOP::TaggedProfile& profile) override;
    virtual void print_profile(std::ostream& stream, const IOP::TaggedProfile& profile);

    // Also applies the properties that it reads.
    void parse(int& argc, char** argv, const char* prefix) override;
    const TRXPropertyList& properties() const override { return *this; }

    const std::string& name() const { return _name; }
    CORBA_Long key() const { return _key; }
    // Whether objects are announced to agents and looked up through them.
    bool agentEnabled() const { return _agentEnabled; }
    void agentEnabled(bool enabled) { _agentEnabled = enabled; }

private:
    TRXGIOPConnFactory* connections() const;

    std::string _name;
    CORBA_Long _key; // the key of its factory
    bool _agentEnabled = true;
};

// Makes the one ORB of the process, which serves profiles of the Internet protocol.
class TRXIIOPORBFactory : public TRXORBFactory {
public:
    TRXIIOPORBFactory() : TRXORBFactory("ORB", 0) {}
    CORBA_ORB* create(int& argc, char** argv) override;

private:
    std::unique_ptr<TRXORB> _orb;
};
