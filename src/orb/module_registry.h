#pragma once

// What registers with the ORB before `main` runs: initialisers, makers of initial references and makers of
// ORBs. Each is an object that enters a process-wide registry when it is made and leaves it when it is
// destroyed; a registry exists from its first member to its last. src/modules.cpp makes the library's own.

#include "marshal/types.h"

#include <string>
#include <string_view>
#include <vector>

class CORBA_BOA;
class CORBA_ORB;
class CORBA_Object;

// A module that takes part in the start-up of the ORB and of its object adapters: it may take options of its
// own out of the command line. The hooks do nothing by default.
class TRXInit {
public:
    // Lower priorities run first, equal ones in the order in which they were made.
    explicit TRXInit(long priority = 0);
    TRXInit(const TRXInit&) = delete;
    TRXInit& operator=(const TRXInit&) = delete;
    virtual ~TRXInit();

    // Runs in every CORBA_ORB_init, also in those that come without a command line and have `argc` 0.
    virtual void ORB_init(int& argc, char** argv, CORBA_ORB* orb);
    // Runs in every BOA_init of the ORB, once the adapter has been found or made.
    virtual void BOA_init(int& argc, char** argv, CORBA_BOA* boa);

    // Calls the hook of all of them, in their order.
    static void initializeAll(int& argc, char** argv, CORBA_ORB* orb);
    static void initializeAll(int& argc, char** argv, CORBA_BOA* boa);
};

// Makes the object behind the initial reference of one name. Of two with one name the later counts.
class TRXResolver {
public:
    explicit TRXResolver(const char* name);
    TRXResolver(const TRXResolver&) = delete;
    TRXResolver& operator=(const TRXResolver&) = delete;
    virtual ~TRXResolver();

    // The object, or nil; the caller owns the reference.
    virtual CORBA_Object* resolve(CORBA_ORB* orb) = 0;

    const std::string& name() const { return _name; }

    static bool anyExists();
    static TRXResolver* find(std::string_view name);
    // In the order of the registry's slots.
    static std::vector<std::string> names();

private:
    std::string _name;
};

// Makes ORBs, by the name that -ORBid asks for and by the tag of the profiles that the ORB serves.
class TRXORBFactory {
public:
    TRXORBFactory(const char* name, CORBA_Long key);
    TRXORBFactory(const TRXORBFactory&) = delete;
    TRXORBFactory& operator=(const TRXORBFactory&) = delete;
    virtual ~TRXORBFactory();

    // The ORB stays the factory's.
    virtual CORBA_ORB* create(int& argc, char** argv) = 0;

    const std::string& name() const { return _name; }
    CORBA_Long key() const { return _key; }

    static TRXORBFactory* find(std::string_view name);
    static TRXORBFactory* find(CORBA_Long key);

private:
    std::string _name;
    CORBA_Long _key;
};
