#pragma once

#include "agent/records/dsprovid.h"
#include "net/ncrtt.h"

#include <deque>
#include <vector>

namespace locd {

// What a client has still to hear about a provider.
struct Notice {
    NCRef<DSProvider> provider;
    int status; // DSStatusDone: it is up; DSStatusProviderDown
};

// The notifications for one client: one is on its way until the client acknowledges it, the others wait.
struct Outbox {
    std::deque<Notice> waiting;
    std::vector<uint8_t> octets; // of the one on its way; empty when there is none
    uint32_t number = 0;
    int64_t due = 0; // when it is repeated, in milliseconds
    NCrtt rtt;
};

} // namespace locd
