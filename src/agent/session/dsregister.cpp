#include "agent/session/dsuser.h"

#include "agent/records/dsamsg.h"
#include "agent/records/dswrap.h"
#include "agent/session/dsoptions.h"

// What this process registers with its agent.

int DSUser::registerProvider(DSProvider* provider) {
    const NCRef<DSProvider> held = provider;
    if (waiting_ != idle)
        return busy;
    if (providers_.includes(provider))
        return knownProvider;
    providers_.add(provider);
    if (!hasAgent())
        return noAgent; // it stays, and the next reconnect registers it
    const NCRef<DSRequest> question = new DSRequest(DSRequestRegisterProvider, provider);
    NCRef<DSReply> reply;
    const uint32_t connection = connections_;
    const int status = askPlain(question.get(), rttRegister_, reply);
    // Another agent got the provider while the connection was made, and may refuse to have it twice.
    const bool registeredAgain = reply && connections_ != connection;
    if (status != done && !registeredAgain) {
        providers_.remove(provider);
        return status;
    }
    if (!timerActive_)
        startTimer(keepAlivePeriod());
    return done;
}

int DSUser::unregisterProvider(DSProvider* provider) {
    const NCRef<DSProvider> argument = provider;
    if (!isLoggedIn())
        return notLoggedIn;
    if (waiting_ != idle)
        return busy;
    // The caller's record may be an equal one, and the set's may be the last reference to the other.
    const NCRef<DSResource> held = providers_.find(provider);
    if (!held)
        return unknownProvider;
    providers_.remove(provider);
    const NCRef<DSRequest> question = new DSRequest(DSRequestUnregisterProvider, held.get());
    if (const int status = request(question.get(), rttUnregister_, 0))
        return status;
    lastReply_ = nullptr;
    if (providers_.isEmpty())
        stopTimer();
    return done;
}

int DSUser::registerTrigger(DSName* name, DSTriggerHandler* handler) {
    const NCRef<DSName> key = name;
    if (waiting_ != idle)
        return busy;
    auto* handlers = static_cast<DSSet*>(triggers_.at(key.get()));
    if (!handlers) {
        handlers = new DSSet(16);
        triggers_.put(key.get(), handlers);
    }
    const NCRef<DSResource> wrapper = new DSTrigWrapper(handler);
    handlers->add(wrapper.get());
    if (!hasAgent())
        return noAgent; // it stays, and the next reconnect registers it
    const NCRef<DSRequest> question = new DSRequest(DSRequestRegisterTrigger, key.get());
    if (const int status = request(question.get(), rttQuery_, 0))
        return status;
    const NCRef<DSReply> reply = std::exchange(lastReply_, nullptr);
    if (reply->replyType() != DSReplyTrigger)
        return reply->replyOk() ? done : noAnswer;
    triggerService(reply.get()); // a provider is there already
    return done;
}

int DSUser::unregisterTrigger(DSName* name, DSTriggerHandler* handler) {
    const NCRef<DSName> key = name;
    if (exiting_)
        return noAgent;
    const NCRef<DSSet> handlers = static_cast<DSSet*>(triggers_.at(key.get()));
    const NCRef<DSResource> wrapper = new DSTrigWrapper(handler);
    if (!handlers || !handlers->remove(wrapper.get()))
        return unknownTrigger;
    if (handlers->isEmpty())
        triggers_.removeKey(key.get());
    if (!isLoggedIn())
        return notLoggedIn;
    if (waiting_ != idle)
        return busy;
    const NCRef<DSRequest> question = new DSRequest(DSRequestUnregisterTrigger, key.get());
    if (const int status = request(question.get(), rttUnregister_, 0))
        return status;
    lastReply_ = nullptr;
    return done;
}

void DSUser::providerDown(DSProvider* provider) {
    const auto ipaddr = DSOptions::current()->option("OAipaddr");
    const NCRef<DSAMessage> message = new DSAMessage(DSTypeProviderUnreachable, new DSProvider(*provider));
    NCudpstream stream;
    if (stream.bind(0, ipaddr ? ipaddr->c_str() : nullptr) == 0)
        stream.sendTo(provider->agentAddr().socketAddress(), message.get());
}
