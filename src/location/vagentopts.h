#pragma once

#include "agent/session/dsoptions.h"

// Gives the agent session the options of the ORB. Its own questions start the ORB where nobody has; the
// adapter's address is known only where an ORB is there already.
class TRXAgentOptions : public DSOptions {
public:
    TRXAgentOptions() { install(this); }
    TRXAgentOptions(const TRXAgentOptions&) = delete;
    TRXAgentOptions& operator=(const TRXAgentOptions&) = delete;
    ~TRXAgentOptions() override { install(nullptr); }

    std::optional<std::string> option(const char* key) override;
    int agentPort() override;
    void setAgentPort(int port) override;
};
