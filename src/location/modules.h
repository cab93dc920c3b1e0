#pragma once

#include "agent/session/session_options.h"
#include "orb/module_registry.h"

#include <harbolance/obj_location_stub.h>

// The modules of this folder that the start-up of the ORB calls. src/modules.cpp makes one of each.

// The location service's own options, each of which takes a value:
//
//     -LOCdebug 0|1, -LOCverify 0|1 (the first character counts), -LOCtimeout <seconds>
//
// The start-up of the ORB removes them from the command line; a bad value ends the process with a message on
// the standard error stream and status 1.
class LocateInitializer : public TRXInit {
public:
    // Runs before modules without a priority of their own.
    LocateInitializer() : TRXInit(-10) {}

    void ORB_init(int& argc, char** argv, CORBA_ORB* orb) override;

private:
    static bool take(const char* option, const char* value);
};

// The initial reference "LocationService": the location service of this process. It is made by the first
// request and needs the object adapter, whose listener is opened then.
class TRXLocationService : public TRXResolver {
public:
    TRXLocationService() : TRXResolver("LocationService") {}
    CORBA_Object* resolve(CORBA_ORB* orb) override;

private:
    ObjLocation::Agent_var _object;
};

// Gives the agent session access to the options of the ORB. Reading one of the session's options starts the
// ORB if it is not started; reading the adapter's address does not.
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
