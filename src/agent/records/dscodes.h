#pragma once

// Messages and records of the location agents, their collections, and this process's session with one agent.
//
// Codes are here, records in files of their own (dsmsg.h and its neighbours), collections in dscoll.h to
// dslnklst.h. DSUser (dsuser.h) is the session: it finds an agent, logs in, waits for replies, asks and
// registers. DSVerify (dsverify.h) tells whether a peer is alive.

// What every message carries first. Another text is another protocol.
inline constexpr const char* dsVersion = "Kestrune 2.0";

// The UDP port of the domain when nothing says otherwise.
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

// `status` of DSReply and DSAReply. Any other value than these is the failure of the request in hand.
enum DSReplyStatus : int {
    DSStatusDone = 0,
    DSStatusProviderDown = -95, // in a notification; in a login: not logged in
    DSStatusRefused = -96,
    DSStatusReconnect = -97, // login not accepted; on any other awaited reply the client must reconnect
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
