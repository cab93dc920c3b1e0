#include "oadd/announcer.h"

#include "oadd/log.h"

#include <harbolance/agent.h>

namespace oadd {

std::vector<std::string> Announcer::namesOf(const ObjectName& object) const {
    const std::string host = DSAddr(references_.port(), references_.host().c_str()).dottedAddr();
    std::vector<std::string> names = {object.repId, host + "_" + object.repId};
    if (!object.name.empty()) {
        names.push_back(host + "_" + object.repId + "_" + object.name);
        names.push_back(object.repId + "_" + object.name);
    }
    return names;
}

void Announcer::change(const std::string& name, int serviceType, const std::string& reference,
                       bool enter) const {
    DSUser* session = DSUser::instance(true);
    if (!session)
        return;
    NCRef<DSResource> value;
    if (!reference.empty())
        value = new DSName(reference.c_str(), dsArgType, DSServiceReference);
    const DSName text(name.c_str(), dsArgType, serviceType, value.get());
    const NCRef<DSProvider> provider =
        new DSProvider(text, DSAddr(references_.port(), references_.host().c_str()));
    const int status =
        enter ? session->registerProvider(provider.get()) : session->unregisterProvider(provider.get());
    if (!enter && status != DSUser::done)
        session->forgetProvider(provider.get()); // or it would be registered with the next agent
    // The session keeps it for the next agent.
    const bool kept = status == DSUser::noAgent || status == DSUser::notLoggedIn;
    if (enter && !kept && status != DSUser::done && status != DSUser::knownProvider)
        log(LogLevel::warning,
            "the agent has not taken '" + name + "' (status " + std::to_string(status) + ")");
}

void Announcer::announce(const ObjectName& object) {
    if (!enabled_)
        return;
    const std::string reference = references_.textToHere(object);
    for (const std::string& name : namesOf(object)) {
        if (shared_[name]++ == 0)
            change(name, DSServiceManual, "", true);
        change(name, DSServiceOad, reference, true);
    }
}

void Announcer::withdraw(const ObjectName& object) {
    if (!enabled_)
        return;
    const std::string reference = references_.textToHere(object);
    for (const std::string& name : namesOf(object)) {
        if (--shared_[name] == 0) {
            shared_.erase(name);
            change(name, DSServiceManual, "", false);
        }
        change(name, DSServiceOad, reference, false);
    }
}

} // namespace oadd
