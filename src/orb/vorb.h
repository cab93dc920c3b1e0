#pragma once

#include "marshal/sequence/string_sequence.h"
#include "object/vobject.h"
#include "object/vprop.h"
#include "orb/vinit.h"

#include <memory>

class CORBA_ORB {
public:
    // The names that `resolve_initial_references` knows; the caller owns the sequence.
    virtual CORBA_StringSequence* list_initial_services() = 0;
    // The object, or nil; the caller owns the reference. Raises CORBA_ORB_InvalidName for an unknown name,
    // CORBA_OBJECT_NOT_EXIST when the process has no initial references at all, and what the resolver raises.
    virtual CORBA_Object* resolve_initial_references(const char* name) = 0;
    virtual ~CORBA_ORB();
};

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
