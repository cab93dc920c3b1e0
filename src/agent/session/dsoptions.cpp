#include "agent/session/dsoptions.h"

namespace {

class NoOptions : public DSOptions {
public:
    std::optional<std::string> option(const char*) override { return std::nullopt; }
    int agentPort() override { return 0; }
    void setAgentPort(int) override {}
};

DSOptions*& installed() {
    static DSOptions* options = nullptr;
    return options;
}

} // namespace

DSOptions* DSOptions::current() {
    static NoOptions none;
    return installed() ? installed() : &none;
}

void DSOptions::install(DSOptions* options) { installed() = options; }
