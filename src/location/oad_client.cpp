#include "location/oad_client.h"

#include "marshal/reference/vutil.h"
#include "object/corba_orb.h"
#include "object/global_table.h"

#include <cstdlib>
#include <unistd.h>

namespace harbolance {

namespace {

Activation::OAD* daemonAt(const char* host) { return Activation::OAD::_bind(nullptr, host); }

// Null for a host without an address, which must not use the daemon of another host.
Activation::OAD* daemonOfThisHost() {
    const CORBA_String_var host(TRXUtil::host_address(nullptr));
    if (!host.in())
        throw CORBA_NO_IMPLEMENT();
    return daemonAt(host.in());
}

// Older peers identify interfaces by their names.
const char* registeredId(const CORBA_TypeInfo& type) {
    return TRXGlobalTable::instance()->backCompat ? type.name() : type.id();
}

} // namespace

OADClient::OADClient(CORBA_BOA* adapter)
    : _adapter(adapter), _always(TRXGlobalTable::instance()->backCompat) {}

bool OADClient::found(const CORBA_TypeInfo& type) {
    if (type == Activation::OAD::_type)
        return false; // a daemon does not register its own objects
    if (!_oad.in() && (!_checked || _always)) {
        try {
            _oad = search();
            _checked = true;
        } catch (const CORBA_NO_IMPLEMENT&) {
            _checked = true; // there is none; one that could not be reached is looked for again
            throw;
        }
    }
    return _oad.in() != nullptr;
}

Activation::OAD* OADClient::search() {
    const auto* properties = dynamic_cast<TRXPropertyList*>(_adapter);
    _uid = static_cast<CORBA_Long>(::geteuid());
    if (const auto uid = properties ? properties->number("OAoad_uid") : std::nullopt)
        _uid = static_cast<CORBA_Long>(*uid);
    const auto text = properties ? properties->property("OAactivateIOR") : std::nullopt;
    if (!text)
        return daemonOfThisHost();
    const CORBA_Object_var object(currentORB()->string_to_object(text->c_str()));
    return Activation::OAD::_narrow(object.in());
}

std::unique_ptr<TRXEXT_CreationImplDef> OADClient::activate(const CORBA_TypeInfo& type,
                                                            CORBA_Object* object) {
    try {
        if (found(type))
            return std::unique_ptr<TRXEXT_CreationImplDef>(
                _oad->boa_activate_obj(object, registeredId(type), _uid));
    } catch (const CORBA_Exception&) {
        // Without a daemon or a registration objects are served without one.
    }
    return nullptr;
}

void OADClient::deactivate(const CORBA_TypeInfo& type, CORBA_Object* object) {
    try {
        if (found(type) && !TRXGlobalTable::instance()->backCompat)
            _oad->boa_deactivate_obj(object, registeredId(type), _uid);
    } catch (const CORBA_Exception&) {
        // The daemon notices by itself when a server ends.
    }
}

const IOP::IOR& OADClient::reference() const { return ObjectOperations::installed().reference(_oad.in()); }

std::unique_ptr<IOP::IOR> startByDaemon(const char* host, const char* repId, const char* objectName) {
    constexpr CORBA_Long daemonsLimit = -1;
    try {
        const Activation::OAD_var oad(daemonAt(host));
        const CORBA_Object_var object(*objectName
                                          ? oad->lookup_implementation(repId, objectName, daemonsLimit)
                                          : oad->lookup_interface(repId, daemonsLimit));
        if (object.in())
            return std::make_unique<IOP::IOR>(ObjectOperations::installed().reference(object.in()));
    } catch (const CORBA_Exception&) {
        // it cannot be started
    }
    return nullptr;
}

// --- What adapters ask -------------------------------------------------------------------------------------

CORBA_Object* LocalActivationDaemon::reg_implementation(const TRXEXT_CreationImplDef& definition) {
    return Activation::OAD_var(daemonOfThisHost())->reg_implementation(definition);
}

void LocalActivationDaemon::unreg_implementation(const char* repId, const char* objectName) {
    Activation::OAD_var(daemonOfThisHost())->unreg_implementation(repId, objectName);
}

void LocalActivationDaemon::change_implementation(const TRXEXT_CreationImplDef& from,
                                                  const TRXEXT_CreationImplDef& to) {
    Activation::OAD_var(daemonOfThisHost())->change_implementation(from, to);
}

} // namespace harbolance
