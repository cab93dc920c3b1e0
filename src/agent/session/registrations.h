#pragma once

#include "agent/collections/dsdict.h"
#include "agent/records/dsprovid.h"

class DSTriggerHandler;

namespace harbolance {

class AgentLink;

// What this process has registered with its agent: providers and triggers. It stays known while there is no
// agent, and the next agent gets it. The operations are those of DSUser and give its statuses.
class Registrations {
public:
    explicit Registrations(AgentLink& link) : link_(link) {}

    int registerProvider(DSProvider* provider);
    int unregisterProvider(DSProvider* provider);
    void forgetProvider(DSProvider* provider);
    int registerTrigger(DSName* name, DSTriggerHandler* handler);
    int unregisterTrigger(DSName* name, DSTriggerHandler* handler);

    // Registers all of it with a new agent; ends early when that agent is lost.
    void registerAgain();
    // Calls the handlers of a name.
    void notify(DSProvider& provider, bool isUp);

private:
    AgentLink& link_;
    DSSet providers_{16};       // of DSProvider
    DSDictionary triggers_{16}; // from DSName to DSSet of DSTrigWrapper
};

} // namespace harbolance
