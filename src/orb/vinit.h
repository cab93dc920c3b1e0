#pragma once

// The start-up of the ORB, and what registers with it before `main` runs: module initialisers, makers of
// initial references and makers of ORBs. Each of these is an object that enters a process-wide registry when
// it is made and leaves it when it is destroyed; a registry exists from its first member to its last. vorb.h
// is the ORB itself, vprop.h the options, settings.h what the start-up leaves for everybody to read.

#include "marshal/types.h"

#include <string>
#include <string_view>
#include <vector>

class CORBA_ORB;
class CORBA_Object;

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

// A module that takes part in the start-up: it may take options of its own out of the command line.
class TRXInit {
public:
    // Lower priorities run first, equal ones in the order in which they were made.
    explicit TRXInit(long priority = 0);
    TRXInit(const TRXInit&) = delete;
    TRXInit& operator=(const TRXInit&) = delete;
    virtual ~TRXInit();

    // Runs in every CORBA_ORB_init, also in those that come without a command line and have `argc` 0.
    virtual void ORB_init(int& argc, char** argv, CORBA_ORB* orb);

    // Calls ORB_init of all of them.
    static void initializeAll(int& argc, char** argv, CORBA_ORB* orb);
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
