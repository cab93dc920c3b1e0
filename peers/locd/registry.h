#pragma once

// Which clients provide which services, and which clients wait for which.

#include "agent/records/dsprovid.h"
#include "locd/tables.h"

#include <memory>

namespace locd {

struct Holder;
struct ServiceName;

// One provider that one client has registered.
struct Registration {
    NCRef<DSProvider> provider;
    uint32_t octets; // size in a list
    Holder* holder;
    ServiceName* service;
    ChainLink<Registration> ofHolder;
    ChainLink<Registration> ofService;
};

// A name that one client waits for.
struct Trigger {
    NCRef<DSName> name;
    uint32_t octets;
    Holder* holder;
    ServiceName* service;
    ChainLink<Trigger> ofHolder;
    ChainLink<Trigger> ofService;
};

template <class T>
struct Holding : Chain<T, &T::ofHolder> {
    uint32_t count = 0;
    size_t octets = 0;
};

// The owner of registrations and triggers.
struct Holder {
    bool isAgent = false; // another agent, on behalf of its own clients
    Holding<Registration> registrations;
    Holding<Trigger> triggers;
};

// The record of one name. Names are equal when text, argument type and service type are; the value does not
// count. Registrations and triggers are in the order in which they came, or were moved to the end.
struct ServiceName {
    NCRef<DSName> name; // the first provider's, with its value; without providers a trigger's
    Chain<Registration, &Registration::ofService> registrations;
    Chain<Trigger, &Trigger::ofService> triggers;
    uint32_t watchers = 0; // triggers of holders that are not agents
};

// Observes every change. Called while the registry is consistent; it must not change the registry.
class RegistryObserver {
public:
    virtual ~RegistryObserver() = default;
    virtual void providerUp(const Registration& registration) = 0;
    virtual void providerDown(const Registration& registration) = 0;
    // Called when the last watcher of the name has gone.
    virtual void watchEnds(const ServiceName& service) = 0;
};

// All registrations and triggers of this agent. The cost of each operation does not depend on their number,
// except for those that iterate.
class Registry {
public:
    // Limits of the registry, in total and per client (see `hasShare`), for registrations and equally for
    // triggers. Clients accept lists of 64 MiB, and no list is longer than all registrations.
    struct Limits {
        uint32_t count = 1'000'000;
        uint32_t countOfHolder = 250'000;
        size_t octets = size_t{32} * 1024 * 1024;
        size_t octetsOfHolder = size_t{16} * 1024 * 1024;
    };

    enum class Result { done, already, missing, full };

    explicit Registry(RegistryObserver& observer) : Registry(observer, Limits()) {}
    Registry(RegistryObserver& observer, const Limits& limits);
    Registry(const Registry&) = delete;
    Registry& operator=(const Registry&) = delete;

    // `octets` is the size of the record in a list.
    Result add(Holder& holder, DSProvider* provider, uint32_t octets);
    Result remove(Holder& holder, const DSProvider& provider);
    Result addTrigger(Holder& holder, DSName* name, uint32_t octets);
    Result removeTrigger(Holder& holder, const DSName& name);
    // Removes everything of a holder that is leaving, triggers first, so that it is not notified of its own
    // providers.
    void removeAll(Holder& holder);

    // The first provider of the name, or null: in order of registration, unless moved by `putLast`.
    DSProvider* find(const DSName& name) const;
    // Moves the provider behind the others of its name.
    void putLast(const DSProvider& provider);
    // A holder that has registered such a provider, or null.
    Holder* holderOf(const DSProvider& provider) const;
    const ServiceName* service(const DSName& name) const;

    // Calls `visit(const ServiceName&)` for each name that has a registration or a trigger.
    template <class Visit>
    void forEachService(Visit visit) const {
        for (uint32_t i = services_.next(0); i < services_.capacity(); i = services_.next(i + 1))
            visit(*services_.slot(i));
    }

    uint32_t registrations() const { return registrations_.size(); }
    uint32_t triggers() const { return triggers_.size(); }
    // The number of names with a provider.
    uint32_t names() const { return names_; }
    // The size of all registrations and triggers.
    size_t registrationOctets() const { return registrationOctets_; }
    size_t triggerOctets() const { return triggerOctets_; }
    // Changes with each change of the registrations.
    uint64_t version() const { return version_; }

private:
    struct RegistrationProbe {
        const DSProvider& provider;
        const Holder* holder; // null: any
    };
    struct TriggerProbe {
        const DSName& name;
        const Holder* holder;
    };

    // Hashed by fingerprint, because the order of these tables is not visible outside: the protocol's hash
    // gives the same slots to names that differ in a few digits, and a client that leaves may remove a
    // hundred thousand of them.
    static uint32_t hashOf(const DSResource& record) { return static_cast<uint32_t>(record.fingerprint()); }

    // The holder is not part of the hash, so that a provider can be found without it.
    struct RegistrationTraits : GrowAtHalf {
        using Entry = std::unique_ptr<Registration>;
        static bool isFree(const Entry& entry) { return !entry; }
        static uint32_t hash(const Entry& entry) { return hashOf(*entry->provider); }
        static uint32_t hash(const RegistrationProbe& probe) { return hashOf(probe.provider); }
        static bool equal(const Entry& stored, const RegistrationProbe& probe) {
            return (!probe.holder || stored->holder == probe.holder) &&
                   stored->provider->compare(&probe.provider) == 0;
        }
    };
    struct TriggerTraits : GrowAtHalf {
        using Entry = std::unique_ptr<Trigger>;
        static bool isFree(const Entry& entry) { return !entry; }
        static uint32_t hash(const TriggerProbe& probe) {
            return static_cast<uint32_t>(harbolance::mixFingerprint(
                probe.name.fingerprint(), reinterpret_cast<uintptr_t>(probe.holder)));
        }
        static uint32_t hash(const Entry& entry) { return hash(TriggerProbe{*entry->name, entry->holder}); }
        static bool equal(const Entry& stored, const TriggerProbe& probe) {
            return stored->holder == probe.holder && stored->name->compare(&probe.name) == 0;
        }
    };
    struct ServiceTraits : GrowAtHalf {
        using Entry = std::unique_ptr<ServiceName>;
        static bool isFree(const Entry& entry) { return !entry; }
        static uint32_t hash(const Entry& entry) { return hashOf(*entry->name); }
        static uint32_t hash(const DSName& probe) { return hashOf(probe); }
        static bool equal(const Entry& stored, const DSName& probe) {
            return stored->name->compare(&probe) == 0;
        }
    };

    template <class T>
    bool hasSpace(uint32_t count, size_t octets, const Holding<T>& holding, uint32_t more) const;
    ServiceName* serviceFor(const DSName& name);
    void dropIfIdle(const ServiceName* service);
    void remove(Registration* registration);
    static void nameAfterFirst(ServiceName& service);
    void removeTrigger(Trigger* trigger);

    RegistryObserver& observer_;
    const Limits limits_;
    harbolance::HashTable<RegistrationTraits> registrations_;
    harbolance::HashTable<TriggerTraits> triggers_;
    harbolance::HashTable<ServiceTraits> services_;
    uint32_t names_ = 0;
    size_t registrationOctets_ = 0;
    size_t triggerOctets_ = 0;
    uint64_t version_ = 0;
};

} // namespace locd
