#pragma once

#include "marshal/sequence/octet_sequence.h"
#include "object/bind_options.h"
#include "object/vobject.h"
#include "object/vprop.h"

class CORBA_BOA;
class TRXConnection;

// State of the process that all layers from here upwards share, and properties that an adapter sets for the
// client side. A single object, made at its first use and never destroyed.
//
// The first four members describe the request being served; the dispatch sets them and clears them at its
// end. A request served inside the wait of another one overwrites and clears them, so a servant that needs
// them after a nested call must copy them.
class TRXGlobalTable final : public TRXPropertyList {
public:
    static TRXGlobalTable* instance();

    CORBA_Object_var currentObject;             // target of the request being served
    CORBA_BOA* currentBOA = nullptr;            // its adapter; borrowed
    TRXConnection* currentConnection = nullptr; // the connection that it came on; borrowed
    CORBA_OctetSequence_var principal;          // its sender, or null

    CORBA_OctetSequence_var defaultPrincipal; // for references that set none; null when there is none
    CORBA_BindOptions defaultBindOptions;     // for references made from now on

    CORBA_ULong transientObjects = 0; // while 1, objects that are made are not announced to agents
    bool noCallback = false;          // "OAnoCallback": a wait for a reply serves nothing else
    bool backCompat = false;          // "ORBbackcompat": formats for older peers, e.g. names for ids

private:
    TRXGlobalTable() = default;
};
