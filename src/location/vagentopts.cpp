#include "location/vagentopts.h"

#include "orb/orb_settings.h"
#include "orb/vorb.h"

#include <string_view>

std::optional<std::string> TRXAgentOptions::option(const char* key) {
    if (!std::string_view(key).starts_with("OA"))
        CORBA_ORB_init();
    const TRXORB* orb = TRXORB::current();
    return orb ? orb->property(key) : std::nullopt;
}

int TRXAgentOptions::agentPort() { return orbSettings.agentPort; }

void TRXAgentOptions::setAgentPort(int port) { orbSettings.agentPort = static_cast<uint16_t>(port); }
