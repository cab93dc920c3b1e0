#pragma once

// The codes of the protocol of the location agents. This folder holds the protocol's messages and records:
// DSMessage, DSRequest and DSReply travel on a session (dsmsg.h), DSAMessage and DSAReply outside of one
// (dsamsg.h); what they carry is in dsname.h, dsaddr.h, dsprovid.h, dslogin.h and trxstring.h. A record class
// is declared by its fields, with record.h and keyed_record.h. Collections of records are in
// agent/collections (dscoll.h), the session with an agent in agent/session (dsuser.h).

// The first field of every message. Another text means another protocol version.
inline constexpr const char* dsVersion = "Kestrune 2.0";

// The UDP port of the domain when no other is given.
inline constexpr int dsDefaultPort = 14000;

// `msgType` of DSMessage and DSAMessage.
enum DSMessageType : int {
    DSTypeRequest = 1,
    DSTypeReply = 2,
    DSTypeAReply = 5,
    DSTypeLocateAgent = 6,         // the answer carries a DSAddr
    DSTypeProviderUnreachable = 7, // object is the DSProvider; no answer
    DSTypeTcpEndpoint = 9,         // the answer carries a DSAddr
};

// `requestType` of DSRequest, from client to agent unless noted.
enum DSRequestType : int {
    DSRequestLogin = 0,              // DSLogin
    DSRequestAreYouAlive = 2,        // in both directions
    DSRequestLocate = 3,             // DSName; a DSProvider comes back
    DSRequestRegisterTrigger = 4,    // DSName; may be answered with DSReplyTrigger and a provider
    DSRequestRegisterProvider = 5,   // DSProvider
    DSRequestUnregisterProvider = 6, // DSProvider
    DSRequestUnregisterTrigger = 7,  // DSName
    DSRequestListAgents = 8,         // a DSSet of DSAddr comes back
    DSRequestListProviders = 9,      // DSName; over TCP, a DSSet comes back
    DSRequestEndOfSession = 10,      // in both directions
    DSRequestListNames = 11,         // over TCP, a DSSet comes back
};

// `replyType` of DSReply and DSAReply.
enum DSReplyType : int {
    DSReplyPlain = 0, // to a request whose answer has no type of its own
    DSReplyTriggerAcknowledged = 1,
    DSReplyLogin = 2,
    DSReplyAlive = 4,
    DSReplyAgentLocated = 5,
    DSReplyTrigger = 6, // from the agent at any time; object DSProvider
    DSReplyEndOfSession = 12,
};

// `status` of DSReply and DSAReply. Any other value than these means that the request has failed.
enum DSReplyStatus : int {
    DSStatusDone = 0,
    DSStatusProviderDown = -95, // in a notification; in a login: not logged in
    DSStatusRefused = -96,
    DSStatusReconnect = -97, // a login was not accepted; for any other reply: the client must reconnect
    DSStatusKnownClient = -98,
    DSStatusVersionMismatch = -100,
};

// `serviceType` of DSName.
enum DSServiceType : int {
    DSServiceReference = 2, // the text is a stringified reference
    DSServiceManual = 4,    // started by hand
    DSServiceOad = 5,       // registered through an activation daemon
};

// `argType` of DSName, the one value in use.
inline constexpr int dsArgType = 1;
