#pragma once

#include "orb/vinit.h"

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

    bool debug() const { return _debug; }              // trace lines on the standard output
    bool verify() const { return _verify; }            // objects are asked whether they exist
    unsigned long timeout() const { return _timeout; } // seconds that such a question may take

private:
    bool take(const char* option, const char* value);

    bool _debug = false;
    bool _verify = false;
    unsigned long _timeout = 1;
};
