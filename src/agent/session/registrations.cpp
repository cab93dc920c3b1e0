#include "agent/session/registrations.h"

#include "agent/records/dsmsg.h"
#include "agent/records/dswrap.h"
#include "agent/session/agent_link.h"
#include "agent/session/dsuser.h"
#include "base/standard_streams.h"
#include "stream/ncframe.h"

namespace harbolance {

namespace {

// Whether the request fits in a datagram. No agent accepts a larger one, so it would be repeated until all
// time-outs have passed.
bool fitsDatagram(const DSRequest& request, const char* operation) {
    NCipcbuf buffer(NCudpstream::datagramSize, 0);
    NCipcstream out(&buffer);
    const bool fits = ncEncodeMessage(out, &request) && buffer.bytesWritten() <= NCudpstream::datagramSize;
    if (!fits)
        standardError() << "DSUser::" << operation << ": The record does not fit in a datagram" << std::endl;
    return fits;
}

} // namespace

int Registrations::registerProvider(DSProvider* provider) {
    // Held before any return, so that a record without another holder is destroyed.
    const NCRef<DSProvider> held = provider;
    if (link_.isAsking())
        return DSUser::busy;
    if (providers_.includes(provider))
        return DSUser::knownProvider;
    const NCRef<DSRequest> question = new DSRequest(DSRequestRegisterProvider, provider);
    if (!fitsDatagram(*question, "registerProvider"))
        return DSUser::noAnswer;
    // Added before asking: if the agent is lost during the request, the next agent gets this provider with
    // the others.
    providers_.add(provider);
    if (!link_.connection())
        return DSUser::noAgent;
    const uint32_t connection = link_.connections();
    NCRef<DSReply> reply;
    int status = link_.ask(*question, link_.rttRegister, 0, reply);
    // When the connection was replaced meanwhile, the next agent has already got this provider with the
    // others and may refuse it the second time.
    if (status == DSUser::done && !reply->replyOk() && link_.connections() == connection)
        status = DSUser::noAnswer;
    if (status != DSUser::done)
        providers_.remove(provider);
    else
        link_.startKeepAlive();
    return status;
}

int Registrations::unregisterProvider(DSProvider* provider) {
    const NCRef<DSProvider> argument = provider;
    if (const int status = link_.readiness())
        return status;
    // The caller's record may be a different but equal one, and only the set may hold its own.
    const NCRef<DSResource> held = providers_.find(provider);
    if (!held)
        return DSUser::unknownProvider;
    providers_.remove(provider);
    const NCRef<DSRequest> question = new DSRequest(DSRequestUnregisterProvider, held.get());
    NCRef<DSReply> reply;
    if (const int status = link_.ask(*question, link_.rttUnregister, 0, reply))
        return status;
    if (providers_.isEmpty())
        link_.stopKeepAlive();
    return DSUser::done;
}

void Registrations::forgetProvider(DSProvider* provider) {
    const NCRef<DSProvider> argument = provider;
    providers_.remove(provider);
}

int Registrations::registerTrigger(DSName* name, DSTriggerHandler* handler) {
    const NCRef<DSName> key = name;
    if (link_.isAsking())
        return DSUser::busy;
    const NCRef<DSRequest> question = new DSRequest(DSRequestRegisterTrigger, name);
    if (!fitsDatagram(*question, "registerTrigger"))
        return DSUser::noAnswer;
    NCRef<DSSet> handlers = static_cast<DSSet*>(triggers_.at(name));
    if (!handlers) {
        handlers = new DSSet(16);
        // Filled below; the dictionary holds this same set.
        triggers_.put(name, handlers.get());
    }
    // A handler that is already registered is not added again; the new wrapper is then destroyed with its
    // holder.
    handlers->add(NCRef<DSResource>(new DSTrigWrapper(handler)).get());
    // The trigger is not lost: everything in the table is registered with the next agent.
    if (!link_.connection())
        return DSUser::noAgent;
    NCRef<DSReply> reply;
    if (const int status = link_.ask(*question, link_.rttQuery, 0, reply))
        return status;
    if (reply->replyType() != DSReplyTrigger)
        return reply->replyOk() ? DSUser::done : DSUser::noAnswer;
    link_.notify(*reply); // a provider is there already
    return DSUser::done;
}

int Registrations::unregisterTrigger(DSName* name, DSTriggerHandler* handler) {
    const NCRef<DSName> key = name;
    if (link_.isClosed())
        return DSUser::noAgent;
    const NCRef<DSSet> handlers = static_cast<DSSet*>(triggers_.at(name));
    const NCRef<DSResource> wrapper = new DSTrigWrapper(handler);
    // Wrappers are equal when their handlers are, so a new wrapper finds the old one.
    if (!handlers || !handlers->remove(wrapper.get()))
        return DSUser::unknownTrigger;
    // The agent has one trigger of this session per name, which stays for the other handlers.
    if (!handlers->isEmpty())
        return DSUser::done;
    // Removed before the agent is asked: the handler may be destroyed after this call, whatever the agent
    // answers.
    triggers_.removeKey(name);
    if (const int status = link_.readiness())
        return status;
    const NCRef<DSRequest> question = new DSRequest(DSRequestUnregisterTrigger, name);
    NCRef<DSReply> reply;
    return link_.ask(*question, link_.rttUnregister, 0, reply);
}

void Registrations::registerAgain() {
    // Iterates over copies, because handlers of notifications may change the originals while a request waits.
    // Elements removed meanwhile are left out.
    NCRef<DSReply> reply;
    const NCRef<DSSet> providers = new DSSet(providers_);
    for (DSResource* provider : *providers) {
        if (!providers_.includes(provider))
            continue;
        const NCRef<DSRequest> question = new DSRequest(DSRequestRegisterProvider, provider);
        if (link_.ask(*question, link_.rttRegister, 0, reply) != DSUser::done)
            return;
    }
    const NCRef<DSDictionary> triggers = new DSDictionary(triggers_);
    for (const DSResource* element : *triggers) {
        DSResource* name = static_cast<const DSAssoc*>(element)->key();
        if (!triggers_.includesKey(name))
            continue;
        const NCRef<DSRequest> question = new DSRequest(DSRequestRegisterTrigger, name);
        if (link_.ask(*question, link_.rttQuery, 0, reply) != DSUser::done)
            return;
    }
}

void Registrations::notify(DSProvider& provider, bool isUp) {
    const NCRef<DSSet> registered = static_cast<DSSet*>(triggers_.at(&provider.name()));
    if (!registered)
        return;
    // Again over a copy, since handlers register and unregister.
    const NCRef<DSSet> called = new DSSet(*registered);
    for (const DSResource* element : *called) {
        if (link_.isClosed())
            return;
        // An earlier handler may have unregistered this one, which may have been destroyed.
        if (!registered->includes(element))
            continue;
        auto* handler = static_cast<const DSTrigWrapper*>(element)->handler();
        if (isUp)
            handler->serviceUp(&provider);
        else
            handler->serviceDown(&provider);
    }
}

} // namespace harbolance
