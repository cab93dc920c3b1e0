#pragma once

// What the options -LOCdebug, -LOCverify and -LOCtimeout say (modules.h).
struct LocationSettings {
    bool debug = false;        // trace lines on the standard output
    bool verify = false;       // objects are asked whether they exist before they are listed
    unsigned long timeout = 1; // seconds that such a question may take, 0 for no limit
};
inline LocationSettings locationSettings;
