#pragma once

// Who provides which service, and who waits for which.

#include "agent/records/dsprovid.h"
#include "locd/tables.h"

#include <memory>

namespace locd {

struct Holder;
struct ServiceName;

// One provider that one client has registered.
struct Registration {
    NCRef<DSProvider> provider;
    uint32_t octets; // that it takes in a list
    Holder* holder;
    ServiceName* service;
    ChainLink<Registration> ofHolder;
    ChainLink<Registration> ofService;
};

// One name that one client wants to hear of.
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

// Whom registrations and triggers belong to.
struct Holder {
    bool isAgent = false; // another agent, on behalf of its own clients
    Holding<Registration> registrations;
    Holding<Trigger> triggers;
};

// Everything about one name: text, argument type and service type tell names apart, the value does not.
// Registrations and triggers are in the order in which they came, or were put last.
struct ServiceName {
    NCRef<DSName> name; // the first provider's, with its value; without a provider a trigger's
    Chain<Registration, &Registration::ofService> registrations;
    Chain<Trigger, &Trigger::ofService> triggers;
    uint32_t watchers = 0; // triggers of holders that are no agents
};

// Hears of every change. Called while the registry is consistent; it must not change it.
class RegistryObserver {
public:
    virtual ~RegistryObserver() = default;
    virtual void providerUp(const Registration& registration) = 0;
    virtual void providerDown(const Registration& registration) = 0;
    // The last watcher of the name went.
    virtual void watchEnds(const ServiceName& service) = 0;
};

// All registrations and triggers of this agent. Every operation costs the same however many there are, apart
// from those that walk.
class Registry {
public:
    // What the registry holds at the most, in all and of one client (see `hasShare`): so many registrations,
    // and as many triggers. A client of this agent takes lists of 64 MiB, and no list is longer than all
    // registrations.
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

    // `octets` is what the record takes in a list.
    Result add(Holder& holder, DSProvider* provider, uint32_t octets);
    Result remove(Holder& holder, const DSProvider& provider);
    Result addTrigger(Holder& holder, DSName* name, uint32_t octets);
    Result removeTrigger(Holder& holder, const DSName& name);
    // The holder is leaving: its triggers go first, so that it hears nothing of itself.
    void removeAll(Holder& holder);

    // The first one, or null: the one registered first, unless it was put last.
    DSProvider* find(const DSName& name) const;
    // Behind the others of its name.
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
    // Of names with a provider.
    uint32_t names() const { return names_; }
    // Of all registrations and triggers.
    size_t registrationOctets() const { return registrationOctets_; }
    size_t triggerOctets() const { return triggerOctets_; }
    // Another number after each change of the registrations.
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

    // By fingerprint, since the order of these tables is not visible: the protocol's hash gives names that
    // differ in a few digits the same slots, and a client that goes may take a hundred thousand of them out.
    static uint32_t hashOf(const DSResource& record) { return static_cast<uint32_t>(record.fingerprint()); }

    // The holder is left out of the hash, so that a provider can be found without knowing it.
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
