#pragma once

// The options -LOCdebug, -LOCverify and -LOCtimeout (modules.h).
struct LocationSettings {
    bool debug = false;        // trace lines on the standard output
    bool verify = false;       // ask objects whether they exist before they are listed
    unsigned long timeout = 1; // seconds for such a question, 0 for no limit
};
inline LocationSettings locationSettings;
