#pragma once

#include "marshal/types.h"

// How the calls through one reference reach its object and how long they wait for it. Every reference has a
// copy of its own, which starts as the process default (global_table.h) and is read and replaced through the
// reference. A time-out is in whole seconds; 0 sets no limit.
struct CORBA_BindOptions {
    bool deferBind = false;         // binding by name waits for the first call
    bool enableRebind = true;       // a call whose connection is lost is made again on a new one
    CORBA_ULong maxBindTries = 5;   // kept for programs that set it; nothing counts tries
    CORBA_ULong sendTimeout = 0;    // until a request has left
    CORBA_ULong receiveTimeout = 0; // from then to its reply
    CORBA_ULong connectTimeout = 0; // until a connection stands
};
