#include "agent/session/session_options.h"

#include "stream/ncudpstr.h"

namespace harbolance {

namespace {

class NoOptions : public SessionOptions {
public:
    std::optional<std::string> option(const char*) override { return std::nullopt; }
    int agentPort() override { return 0; }
    void setAgentPort(int) override {}
};

SessionOptions*& installed() {
    // A function-local static, because the ORB may install its options before the static objects of this file
    // exist.
    static SessionOptions* options = nullptr;
    return options;
}

} // namespace

SessionOptions* SessionOptions::current() {
    static NoOptions none;
    return installed() ? installed() : &none;
}

void SessionOptions::install(SessionOptions* options) { installed() = options; }

int bindOwnAddress(NCudpstream& stream) {
    const auto ipaddr = SessionOptions::current()->option("OAipaddr");
    return stream.bind(0, ipaddr ? ipaddr->c_str() : nullptr);
}

} // namespace harbolance
