#include "adapter/object_tables.h"

#include "object/global_table.h"
#include "object/vtypeinf.h"

#include <cstring>

namespace harbolance {

CORBA_ULong hash(const TRXObjectId& id) {
    switch (id.type()) {
    case TRXObjectId::ID_PERSISTENT: {
        const auto& named = static_cast<const TRXPersistentId&>(id);
        return CORBA_string_hash(named.rep_id()) ^ CORBA_string_hash(named.object_name());
    }
    case TRXObjectId::ID_TRANSIENT: {
        const auto& numbered = static_cast<const TRXTransientId&>(id);
        return CORBA_string_hash(numbered.rep_id()) ^ numbered.adapter() ^ numbered.serial();
    }
    case TRXObjectId::ID_KEY: return static_cast<const TRXKeyId&>(id).key();
    case TRXObjectId::ID_SERVICE: {
        const auto& service = static_cast<const TRXServiceId&>(id);
        return CORBA_string_hash(service.service_name()) ^ service.service_id().hash();
    }
    }
    return 0;
}

namespace {

bool sameText(const char* a, const char* b) { return CORBA_string_compare(a, b) == 0; }

} // namespace

bool operator==(const TRXObjectId& a, const TRXObjectId& b) {
    if (a.type() != b.type())
        return false;
    switch (a.type()) {
    case TRXObjectId::ID_PERSISTENT: {
        const auto& one = static_cast<const TRXPersistentId&>(a);
        const auto& other = static_cast<const TRXPersistentId&>(b);
        return sameText(one.rep_id(), other.rep_id()) && sameText(one.object_name(), other.object_name());
    }
    case TRXObjectId::ID_TRANSIENT: {
        const auto& one = static_cast<const TRXTransientId&>(a);
        const auto& other = static_cast<const TRXTransientId&>(b);
        return one.adapter() == other.adapter() && one.serial() == other.serial() &&
               sameText(one.rep_id(), other.rep_id());
    }
    case TRXObjectId::ID_KEY:
        return static_cast<const TRXKeyId&>(a).key() == static_cast<const TRXKeyId&>(b).key();
    case TRXObjectId::ID_SERVICE: {
        const auto& one = static_cast<const TRXServiceId&>(a);
        const auto& other = static_cast<const TRXServiceId&>(b);
        return sameText(one.service_name(), other.service_name()) && one.service_id() == other.service_id();
    }
    }
    return false;
}

namespace {

// Older clients ask for the interface by name.
bool hasOtherName(const CORBA_TypeInfo& info) { return std::strcmp(info.name(), info.id()) != 0; }

} // namespace

bool NamedObjects::addUnder(std::string_view interfaceId, const char* name, CORBA_Object* object) {
    std::unique_ptr<Names>& names = _interfaces.at(interfaceId);
    if (!names)
        names = std::make_unique<Names>();
    if (names->find(name))
        return false;
    names->at(name) = object;
    return true;
}

void NamedObjects::add(const CORBA_TypeInfo& info, const char* name, CORBA_Object* object) {
    if (info == CORBA_Object_type || !addUnder(info.id(), name, object))
        return;
    if (TRXGlobalTable::instance()->backCompat && hasOtherName(info))
        addUnder(info.name(), name, object);
    for (const CORBA_TypeInfo* base : info.impl()->bases())
        add(*base, name, object);
}

bool NamedObjects::removeUnder(std::string_view interfaceId, const char* name) {
    std::unique_ptr<Names>* names = _interfaces.find(interfaceId);
    if (!names || !(*names)->remove(name))
        return false;
    if ((*names)->size() == 0)
        _interfaces.remove(interfaceId);
    return true;
}

void NamedObjects::remove(const CORBA_TypeInfo& info, const char* name) {
    // While the process ends, a type may be destroyed before its objects.
    if (info == CORBA_Object_type || !info.id() || !removeUnder(info.id(), name))
        return;
    // Removed even if the option has been switched off since, because the entry must not outlive the object.
    if (hasOtherName(info))
        removeUnder(info.name(), name);
    for (const CORBA_TypeInfo* base : info.impl()->bases())
        remove(*base, name);
}

CORBA_Object* NamedObjects::find(const char* repId, const char* name) const {
    const std::unique_ptr<Names>* names = _interfaces.find(repId);
    if (!names)
        return nullptr;
    CORBA_Object* const* found = *name ? (*names)->find(name) : (*names)->first();
    if (!found)
        throw CORBA_OBJECT_NOT_EXIST();
    return *found;
}

} // namespace harbolance
