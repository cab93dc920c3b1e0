#include "location/announcement.h"

#include "agent/session/dsuser.h"
#include "location/location_cache.h"
#include "marshal/reference/vutil.h"
#include "orb/vorb.h"

#include <list>

namespace harbolance {

std::vector<std::string> announcedNames(const char* repId, const char* objectName, const char* host) {
    std::vector<std::string> names{cacheKey(repId, nullptr, nullptr), cacheKey(repId, nullptr, host)};
    if (objectName && *objectName) {
        names.push_back(cacheKey(repId, objectName, host));
        names.push_back(cacheKey(repId, objectName, nullptr));
    }
    return names;
}

bool agentUsable() {
    const TRXORB* orb = TRXORB::current();
    return orb && orb->agentEnabled();
}

Announcement::Announcement(const char* objectName, const IOP::IOR& reference)
    : _objectName(objectName ? objectName : "") {
    const CORBA_String_var text(TRXUtil::ior_to_string(reference));
    _value = new DSName(text.in(), dsArgType, DSServiceReference);
    IIOP::ProfileBody body;
    body.host = TRXUtil::host_address(nullptr);
    TRXUtil::iiop_body(reference, body);
    _address = DSAddr(body.port, body.host.in() ? body.host.in() : "");
}

namespace {

// Keeps providers that could not be registered because the session was busy, and registers them later.
class Postponed final : public dpIOHandler {
public:
    // Never destroyed, because objects are withdrawn until the process ends.
    static Postponed& instance() {
        static Postponed& only = *new Postponed;
        return only;
    }

    void add(DSProvider* provider) {
        _providers.emplace_back(provider);
        askForTick();
    }
    void remove(const DSProvider* provider) {
        _providers.remove_if([provider](const auto& each) { return each->isEqual(provider); });
    }

    void timerExpired(long, long) override {
        _timerActive = false;
        DSUser* session = DSUser::instance(false);
        while (session && !_providers.empty()) {
            const NCRef<DSProvider> first = _providers.front(); // handlers may change the list
            _providers.pop_front();
            if (session->registerProvider(first.get()) == DSUser::busy) {
                _providers.push_front(first);
                askForTick();
                return;
            }
        }
    }

private:
    static constexpr long pauseMicroseconds = 50'000;

    void askForTick() {
        if (!std::exchange(_timerActive, true))
            dpDispatcher::instance()->startTimer(0, pauseMicroseconds, this);
    }

    std::list<NCRef<DSProvider>> _providers;
    bool _timerActive = false;
};

} // namespace

static DSUser* session(bool create) { return agentUsable() ? DSUser::instance(create) : nullptr; }

template <class Tell>
void Announcement::forEachName(DSUser* user, const char* repId, Tell tell) const {
    if (!user)
        return;
    const std::string host = _address.dottedAddr();
    for (const std::string& name : announcedNames(repId, _objectName.c_str(), host.c_str())) {
        const NCRef<DSProvider> provider =
            new DSProvider(DSName(name.c_str(), dsArgType, DSServiceManual, _value.get()), _address);
        tell(*user, provider.get());
    }
}

void Announcement::announce(const char* repId) const {
    forEachName(session(true), repId, [](DSUser& user, DSProvider* provider) {
        if (user.registerProvider(provider) == DSUser::busy)
            Postponed::instance().add(provider);
    });
}

void Announcement::withdraw(const char* repId) const {
    forEachName(session(false), repId, [](DSUser& user, DSProvider* provider) {
        Postponed::instance().remove(provider);
        if (user.unregisterProvider(provider) != DSUser::done)
            user.forgetProvider(provider);
    });
}

} // namespace harbolance
