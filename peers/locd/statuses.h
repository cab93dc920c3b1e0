#pragma once

namespace locd {

// What this agent answers beside the values of DSReplyStatus. A client takes each for the failure of its
// request.
enum AgentStatus : int {
    notRegistered = -1, // nothing like that is registered by this client
    noSuchService = -2, // nobody provides it, here or at the other agents
    badRequest = -3,    // an unknown request, or one without the record it needs
    limitReached = -4,  // of this client or of the agent
    tooLarge = -5,      // the answer would not fit a datagram
};

} // namespace locd
