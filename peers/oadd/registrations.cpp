#include "oadd/registrations.h"

#include "marshal/exception/vexcept.h"
#include "marshal/reference/vutil.h"
#include "oadd/log.h"

#include <cerrno>
#include <cstring>

namespace oadd {

namespace {

// Older peers ask for "IDL:A/B:1.0" as "A::B".
bool isInterface(const std::string& registered, const std::string& asked) {
    if (registered == asked)
        return true;
    if (asked.starts_with("IDL:"))
        return false;
    const CORBA_String_var name(TRXUtil::rep_id_to_name(registered.c_str()));
    return asked == name.in();
}

} // namespace

Registrations::Entry Registrations::find(const ObjectName& object) const {
    const auto found = registry_.entries.find(object);
    return found == registry_.entries.end() ? nullptr : found->second;
}

Registrations::Entry Registrations::ofObject(const ObjectName& object) const {
    Entry ofAnyName;
    for (const Entry& entry : ofInterface(object.repId)) {
        if (entry->object.name == object.name)
            return entry;
        if (entry->object.name.empty())
            ofAnyName = entry;
    }
    return ofAnyName ? ofAnyName : find({"*", object.name});
}

Registrations::Entry Registrations::ofRequest(const ObjectName& object) const {
    Entry found = ofObject(object);
    if (!found && object.name.empty()) {
        const auto entries = ofInterface(object.repId);
        found = entries.empty() ? nullptr : entries.front();
    }
    return found;
}

std::vector<Registrations::Entry> Registrations::ofInterface(const std::string& repId) const {
    std::vector<Entry> found;
    for (const auto& [object, entry] : registry_.entries) {
        if (isInterface(object.repId, repId))
            found.push_back(entry);
    }
    return found;
}

std::vector<Registrations::Entry> Registrations::all() const {
    std::vector<Entry> found;
    for (const auto& [object, entry] : registry_.entries)
        found.push_back(entry);
    return found;
}

void Registrations::commit(Registry changed) {
    if (!file_.save(changed)) {
        log(LogLevel::error, "cannot write " + file_.path() + ": " + std::strerror(errno));
        throw CORBA_PERSIST_STORE(static_cast<CORBA_ULong>(errno), COMPLETED_NO);
    }
    registry_ = std::move(changed);
}

void Registrations::add(Registration registration) {
    Registry changed = registry_;
    const ObjectName object = registration.object;
    changed.entries[object] = std::make_shared<const Registration>(std::move(registration));
    commit(std::move(changed));
}

void Registrations::remove(const std::vector<Entry>& entries) {
    Registry changed = registry_;
    for (const Entry& entry : entries)
        changed.entries.erase(entry->object);
    commit(std::move(changed));
}

void Registrations::replace(const ObjectName& old, Registration registration) {
    Registry changed = registry_;
    changed.entries.erase(old);
    const ObjectName object = registration.object;
    changed.entries[object] = std::make_shared<const Registration>(std::move(registration));
    commit(std::move(changed));
}

void Registrations::destroyOnUnregister(bool destroy) {
    Registry changed = registry_;
    changed.destroyOnUnregister = destroy;
    commit(std::move(changed));
}

} // namespace oadd
