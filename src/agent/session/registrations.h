#pragma once

#include "agent/collections/dsdict.h"
#include "agent/records/dsprovid.h"

class DSTriggerHandler;

namespace harbolance {

class AgentLink;

// The providers and triggers that this process has registered. They are kept while there is no agent, and
// registered with the next one. The operations are those of DSUser and return its statuses.
class Registrations {
public:
    explicit Registrations(AgentLink& link) : link_(link) {}

    int registerProvider(DSProvider* provider);
    int unregisterProvider(DSProvider* provider);
    void forgetProvider(DSProvider* provider);
    int registerTrigger(DSName* name, DSTriggerHandler* handler);
    int unregisterTrigger(DSName* name, DSTriggerHandler* handler);

    // Registers everything with a new agent; stops when that agent is lost.
    void registerAgain();
    // Calls the handlers for a name.
    void notify(DSProvider& provider, bool isUp);

private:
    AgentLink& link_;
    DSSet providers_{16};       // of DSProvider
    DSDictionary triggers_{16}; // from DSName to DSSet of DSTrigWrapper
};

} // namespace harbolance
