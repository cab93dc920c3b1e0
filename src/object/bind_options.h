#pragma once

#include "marshal/types.h"

// How the calls through one reference reach its object, and how long they wait. Every reference has its own
// copy, which starts as the process default (global_table.h) and is read and replaced through the reference.
// Time-outs are in whole seconds; 0 means no limit.
struct CORBA_BindOptions {
    bool deferBind = false;         // connecting a reference bound by name waits for its first call
    bool enableRebind = true;       // a call whose connection is lost is made again on a new one
    CORBA_ULong maxBindTries = 5;   // kept for source compatibility; attempts are not counted
    CORBA_ULong sendTimeout = 0;    // until the request is sent
    CORBA_ULong receiveTimeout = 0; // from then until the reply is received
    CORBA_ULong connectTimeout = 0; // until a connection is established
};
