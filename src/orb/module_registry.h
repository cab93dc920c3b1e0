#pragma once

// Registries of modules: initialisers, resolvers of initial references, and factories of ORBs. Constructing
// such an object, before `main` or later, enters it in the process-wide registry of its kind, and its
// destruction removes it; a registry exists from its first member to its last. src/modules.cpp constructs the
// library's own modules.

#include "marshal/types.h"

#include <string>
#include <string_view>
#include <vector>

class CORBA_BOA;
class CORBA_ORB;
class CORBA_Object;

// A module that is called when the ORB and its object adapters start; it may take its own options from the
// command line. The hooks do nothing by default.
class TRXInit {
public:
    // Lower priorities run first; modules of the same priority run in the order of their construction.
    explicit TRXInit(long priority = 0);
    TRXInit(const TRXInit&) = delete;
    TRXInit& operator=(const TRXInit&) = delete;
    virtual ~TRXInit();

    // Called in every CORBA_ORB_init; in the form without a command line `argc` is 0.
    virtual void ORB_init(int& argc, char** argv, CORBA_ORB* orb);
    // Called in every BOA_init of the ORB, after the adapter has been found or made.
    virtual void BOA_init(int& argc, char** argv, CORBA_BOA* boa);

    // Calls the hook of all modules in order.
    static void initializeAll(int& argc, char** argv, CORBA_ORB* orb);
    static void initializeAll(int& argc, char** argv, CORBA_BOA* boa);
};

// Makes the object for one name of an initial reference. Of two resolvers with one name the later is used.
class TRXResolver {
public:
    explicit TRXResolver(const char* name);
    TRXResolver(const TRXResolver&) = delete;
    TRXResolver& operator=(const TRXResolver&) = delete;
    virtual ~TRXResolver();

    // The object, or nil. The caller owns the reference.
    virtual CORBA_Object* resolve(CORBA_ORB* orb) = 0;

    const std::string& name() const { return _name; }

    static bool anyExists();
    static TRXResolver* find(std::string_view name);
    // The names of all resolvers, in the order of the registry's slots.
    static std::vector<std::string> names();

private:
    std::string _name;
};

// Makes ORBs. A factory is found by the name that -ORBid gives, or by the tag of the profiles that its ORB
// serves.
class TRXORBFactory {
public:
    TRXORBFactory(const char* name, CORBA_Long key);
    TRXORBFactory(const TRXORBFactory&) = delete;
    TRXORBFactory& operator=(const TRXORBFactory&) = delete;
    virtual ~TRXORBFactory();

    // The factory owns the ORB.
    virtual CORBA_ORB* create(int& argc, char** argv) = 0;

    const std::string& name() const { return _name; }
    CORBA_Long key() const { return _key; }

    static TRXORBFactory* find(std::string_view name);
    static TRXORBFactory* find(CORBA_Long key);

private:
    std::string _name;
    CORBA_Long _key;
};
