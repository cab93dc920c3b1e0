#pragma once

#include "agent/session/session_options.h"
#include "orb/module_registry.h"

#include <harbolance/obj_location_stub.h>

// The objects by which this folder takes part in the start-up. src/modules.cpp makes one of each.

// The location service's own options, each of which takes a value:
//
//     -LOCdebug 0|1, -LOCverify 0|1 (the first character counts), -LOCtimeout <seconds>
//
// The start-up of the ORB takes them out of the command line; a bad value ends the process with a message on
// the standard error stream and status 1.
class LocateInitializer : public TRXInit {
public:
    // Among the first: ahead of modules that have no priority of their own.
    LocateInitializer() : TRXInit(-10) {}

    void ORB_init(int& argc, char** argv, CORBA_ORB* orb) override;

private:
    static bool take(const char* option, const char* value);
};

// The initial reference "LocationService": the location service of this process, which begins with the first
// request and needs the object adapter, whose listener then opens.
class TRXLocationService : public TRXResolver {
public:
    TRXLocationService() : TRXResolver("LocationService") {}
    CORBA_Object* resolve(CORBA_ORB* orb) override;

private:
    ObjLocation::Agent_var _object;
};

// Gives the agent session the options of the ORB. A question for one of the session's own starts the ORB if
// it has not been started; one for the adapter's address does not.
class TRXAgentOptions : public harbolance::SessionOptions {
public:
    TRXAgentOptions() { install(this); }
    TRXAgentOptions(const TRXAgentOptions&) = delete;
    TRXAgentOptions& operator=(const TRXAgentOptions&) = delete;
    ~TRXAgentOptions() override { install(nullptr); }

    std::optional<std::string> option(const char* key) override;
    int agentPort() override;
    void setAgentPort(int port) override;
};
