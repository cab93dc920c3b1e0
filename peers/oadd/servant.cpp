#include "oadd/servant.h"

#include "invoke/transport/vconn.h"
#include "oadd/log.h"
#include "object/global_table.h"

#include <algorithm>

namespace oadd {

namespace {

ObjectName nameOf(const char* repository_id, const char* object_name) {
    return {repository_id ? repository_id : "", object_name ? object_name : ""};
}

template <class Words>
std::string joined(const Words& words) {
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : " ") + shellWord(word);
    return text;
}

} // namespace

Caller Daemon::caller() const {
    const TRXConnection* connection = TRXGlobalTable::instance()->currentConnection;
    const auto found = connection ? connections.find(connection->fd()) : connections.end();
    return found == connections.end() ? nullptr : found->second;
}

// --- Registering -------------------------------------------------------------------------------------------

Servant::Entry Servant::registered(const char* repository_id, const char* object_name) const {
    if (Entry entry = daemon_.registrations.find(nameOf(repository_id, object_name)))
        return entry;
    throw Activation::NotRegistered();
}

// Checks the definition and converts it to a registration.
Registration Servant::accepted(const TRXEXT_CreationImplDef& impl) const {
    Registration registration = registrationOf(impl);
    const std::string what = toText(registration.object) + " is not registered: ";
    std::string fault = faultOf(registration);
    if (fault.empty() && registration.object.repId == _type.id())
        fault = "this is the interface of the daemon itself";
    if (!fault.empty()) {
        log(LogLevel::warning, what + fault);
        throw CORBA_BAD_PARAM();
    }
    const auto program = daemon_.programs.open(registration.path);
    if (const auto* complaint = std::get_if<std::string>(&program)) {
        log(LogLevel::warning, what + *complaint);
        throw Activation::InvalidPath();
    }
    return registration;
}

CORBA_Object_ptr Servant::reg_implementation(const TRXEXT_CreationImplDef& impl) {
    const Registration registration = accepted(impl);
    if (daemon_.registrations.find(registration.object))
        throw Activation::DuplicateEntry();
    daemon_.registrations.add(registration);
    log(LogLevel::info, toText(registration.object) + ": registered with '" + registration.path + "'");
    daemon_.announcer->announce(registration.object);
    return daemon_.references->toHere(registration.object);
}

// Ends running servers, if the daemon is configured to do that; otherwise the whole change is refused.
void Servant::endBeforeChange(const std::vector<Entry>& entries) {
    const auto runs = [this](const Entry& entry) { return daemon_.servers.isRunning(entry->object); };
    if (!daemon_.registrations.destroyOnUnregister() && std::any_of(entries.begin(), entries.end(), runs))
        throw Activation::IsActive();
}

void Servant::unregister(const std::vector<Entry>& entries) {
    endBeforeChange(entries);
    daemon_.registrations.remove(entries);
    for (const Entry& entry : entries) {
        log(LogLevel::info, toText(entry->object) + ": unregistered");
        daemon_.servers.end(entry->object);
    }
    for (const Entry& entry : entries)
        daemon_.announcer->withdraw(entry->object);
}

void Servant::unregister_all() { unregister(daemon_.registrations.all()); }

void Servant::unreg_interface(const char* repository_id) {
    const auto entries = daemon_.registrations.ofInterface(nameOf(repository_id, "").repId);
    if (entries.empty())
        throw Activation::NotRegistered();
    unregister(entries);
}

void Servant::unreg_implementation(const char* repository_id, const char* object_name) {
    unregister({registered(repository_id, object_name)});
}

void Servant::change_implementation(const TRXEXT_CreationImplDef& old_impl,
                                    const TRXEXT_CreationImplDef& new_impl) {
    const Entry old = registered(old_impl.interface_name(), old_impl.object_name());
    const Registration changed = accepted(new_impl);
    const bool renamed = changed.object != old->object;
    if (renamed && daemon_.registrations.find(changed.object))
        throw Activation::DuplicateEntry();
    endBeforeChange({old});
    daemon_.registrations.replace(old->object, changed);
    log(LogLevel::info,
        toText(old->object) + ": changed to " + toText(changed.object) + " with '" + changed.path + "'");
    daemon_.servers.end(old->object);
    if (renamed) {
        daemon_.announcer->withdraw(old->object);
        daemon_.announcer->announce(changed.object);
    }
}

CORBA_Boolean Servant::destroy_on_unregister() { return daemon_.registrations.destroyOnUnregister(); }

void Servant::destroy_on_unregister(CORBA_Boolean value) {
    daemon_.registrations.destroyOnUnregister(value != 0);
}

// --- Definitions -------------------------------------------------------------------------------------------

TRXEXT_CreationImplDef* Servant::create_CreationImplDef() { return new TRXEXT_CreationImplDef; }

TRXEXT_CreationImplDef* Servant::get_implementation(const char* repository_id, const char* object_name) {
    return definitionOf(*registered(repository_id, object_name))._clone();
}

// The command line without the last two words, which identify the process, so that it can be given to a
// shell.
char* Servant::generated_command(const TRXEXT_CreationImplDef& impl) {
    constexpr size_t numbering = 2;
    const Registration registration = registrationOf(impl);
    std::vector<std::string> words = {registration.path};
    const auto arguments = argumentsFor(registration, daemon_.servers.setting());
    words.insert(words.end(), arguments.begin(), arguments.end() - numbering);
    return CORBA_string_dup(joined(words).c_str());
}

char* Servant::generated_environment(const TRXEXT_CreationImplDef& impl) {
    return CORBA_string_dup(joined(environmentFor(registrationOf(impl))).c_str());
}

// --- States ------------------------------------------------------------------------------------------------

// The environment is left out, because it may contain secrets.
Activation::ImplementationStatus Servant::status(const Entry& entry) const {
    Activation::ImplementationStatus status;
    status.impl = definitionOf(*entry);
    if (!isTrusted(daemon_.caller()))
        status.impl.env(CORBA_StringSequence());
    status.objects = daemon_.servers.status(entry->object);
    return status;
}

Activation::ImplementationStatusSeq* Servant::statuses(const std::vector<Entry>& entries) const {
    auto all = std::make_unique<Activation::ImplementationStatusSeq>();
    all->length(static_cast<CORBA_ULong>(entries.size()));
    for (size_t i = 0; i < entries.size(); ++i)
        (*all)[static_cast<CORBA_ULong>(i)] = status(entries[i]);
    return all.release();
}

Activation::ImplementationStatusSeq* Servant::get_status_all() {
    return statuses(daemon_.registrations.all());
}

Activation::ImplementationStatusSeq* Servant::get_status_interface(const char* repository_id) {
    const auto entries = daemon_.registrations.ofInterface(nameOf(repository_id, "").repId);
    if (entries.empty())
        throw Activation::NotRegistered();
    return statuses(entries);
}

Activation::ImplementationStatus* Servant::get_status(const char* repository_id, const char* object_name) {
    return new Activation::ImplementationStatus(status(registered(repository_id, object_name)));
}

// --- Looking up --------------------------------------------------------------------------------------------

// A server for one client or one call is reached through the daemon, which gives each client its own.
CORBA_Object_ptr Servant::lookup(const Entry& entry, CORBA_Long wait) {
    const CORBA_Object_var found(
        daemon_.lookups.find(entry->object, wait, Lookups::Purpose::lookup, daemon_.caller()));
    return entry->policy == SHARED_SERVER ? daemon_.references->andHere(found.in())
                                          : daemon_.references->toHere(entry->object);
}

CORBA_Object_ptr Servant::lookup_interface(const char* repository_id, CORBA_Long wait) {
    const auto entries = daemon_.registrations.ofInterface(nameOf(repository_id, "").repId);
    if (entries.empty())
        throw Activation::NotRegistered();
    const auto active = std::find_if(entries.begin(), entries.end(), [this](const Entry& entry) {
        return daemon_.servers.available(entry->object) != nullptr;
    });
    return lookup(active == entries.end() ? entries.front() : *active, wait);
}

CORBA_Object_ptr Servant::lookup_implementation(const char* repository_id, const char* object_name,
                                                CORBA_Long wait) {
    const Entry entry = daemon_.registrations.ofRequest(nameOf(repository_id, object_name));
    if (!entry)
        throw Activation::NotRegistered();
    return lookup(entry, wait);
}

// --- What servers say --------------------------------------------------------------------------------------

TRXEXT_CreationImplDef* Servant::boa_activate_obj(CORBA_Object_ptr obj, const char* repository_id,
                                                  CORBA_Long uid) {
    ServerObject object = daemon_.references->split(obj);
    const Entry entry = daemon_.registrations.ofObject(nameOf(repository_id, object.name.name.c_str()));
    if (!entry) {
        // Usual for the base interfaces of an object; otherwise the name is wrong, and look-ups would wait
        // for it in vain.
        const bool wrongName = !daemon_.registrations.ofInterface(nameOf(repository_id, "").repId).empty();
        if (uid < 0)
            log(wrongName ? LogLevel::warning : LogLevel::info,
                "process " + std::to_string(-static_cast<long>(uid)) + " has " +
                    toText(nameOf(repository_id, object.name.name.c_str())) + ", which is not registered");
        throw Activation::NotRegistered();
    }
    // Null when the reference leads only to this daemon, because an earlier call has replaced the object's
    // own.
    daemon_.servers.activated(*entry,
                              {entry->object, object.key, object.reference, uid, 0, daemon_.caller()});
    return definitionOf(*entry)._clone();
}

void Servant::boa_deactivate_obj(CORBA_Object_ptr obj, const char* repository_id, CORBA_Long uid) {
    const ServerObject object = daemon_.references->split(obj);
    const Entry entry = daemon_.registrations.ofObject(nameOf(repository_id, object.name.name.c_str()));
    if (!entry || !daemon_.servers.deactivated(entry->object, object.key, uid))
        throw Activation::NotRegistered();
    log(LogLevel::info, toText(entry->object) + ": no longer active");
}

} // namespace oadd
