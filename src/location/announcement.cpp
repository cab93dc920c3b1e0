#include "location/announcement.h"

#include "agent/session/dsuser.h"
#include "location/location_cache.h"
#include "marshal/reference/vutil.h"
#include "orb/vorb.h"

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
    forEachName(session(true), repId,
                [](DSUser& user, DSProvider* provider) { user.registerProvider(provider); });
}

void Announcement::withdraw(const char* repId) const {
    forEachName(session(false), repId, [](DSUser& user, DSProvider* provider) {
        if (user.unregisterProvider(provider) != DSUser::done)
            user.forgetProvider(provider);
    });
}

} // namespace harbolance
