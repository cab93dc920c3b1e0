#pragma once

#include "marshal/sequence/octet_sequence.h"
#include "object/bind_options.h"
#include "object/vobject.h"
#include "object/vprop.h"

class CORBA_BOA;
class TRXConnection;

// What all layers from here upwards share about what the process is doing right now, and properties that an
// adapter leaves for the client side. One object, made at its first use and never destroyed.
//
// The four members that describe the request being served are set by its dispatch and cleared at its end. A
// request that is served while another one waits overwrites them and clears them too: a servant that needs
// one of them after a nested call keeps a copy.
class TRXGlobalTable final : public TRXPropertyList {
public:
    static TRXGlobalTable* instance();

    CORBA_Object_var currentObject;             // target of the request being served
    CORBA_BOA* currentBOA = nullptr;            // its adapter; borrowed
    TRXConnection* currentConnection = nullptr; // where it came from; borrowed
    CORBA_OctetSequence_var principal;          // who sent it, or null

    CORBA_OctetSequence_var defaultPrincipal; // of references that set none; null when there is none
    CORBA_BindOptions defaultBindOptions;     // of references that are made from now on

    CORBA_ULong transientObjects = 0; // while 1, objects that are made are not announced to agents
    bool noCallback = false;          // a wait for a reply serves nothing else; "OAnoCallback"
    bool backCompat = false; // older peers: interface names in place of ids, and so on; "ORBbackcompat"

private:
    TRXGlobalTable() = default;
};
