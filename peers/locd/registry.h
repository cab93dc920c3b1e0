#pragma once

// Who provides which service, and who waits for which.

#include "agent/records/dsprovid.h"
#include "locd/chain.h"
#include "locd/tables.h"

#include <memory>

namespace locd {

struct Holder;
struct ServiceName;

// One provider that one client has registered.
struct Registration {
    NCRef<DSProvider> provider;
    Holder* holder;
    ServiceName* service;
    ChainLink<Registration> ofHolder;
    ChainLink<Registration> ofService;
};

// One name that one client wants to hear of.
struct Trigger {
    NCRef<DSName> name;
    Holder* holder;
    ServiceName* service;
    ChainLink<Trigger> ofHolder;
    ChainLink<Trigger> ofService;
};

// Whom registrations and triggers belong to.
struct Holder {
    bool isAgent = false; // another agent, on behalf of its own clients
    Chain<Registration, &Registration::ofHolder> registrations;
    Chain<Trigger, &Trigger::ofHolder> triggers;
    uint32_t registrationCount = 0;
    uint32_t triggerCount = 0;
};

// Everything about one name: text, argument type and service type tell names apart, the value does not.
// Registrations and triggers are in the order in which they came.
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
    virtual void providerUp(const ServiceName& service, DSProvider* provider) = 0;
    virtual void providerDown(const ServiceName& service, DSProvider* provider) = 0;
    // The last watcher of the name went.
    virtual void watchEnds(const ServiceName& service) = 0;
};

// All registrations and triggers of this agent. Every operation costs the same however many there are, apart
// from those that walk.
class Registry {
public:
    // What the registry holds at the most, in all and of one client.
    static constexpr uint32_t mostRegistrations = 1'000'000;
    static constexpr uint32_t mostOfHolder = 250'000;

    enum class Result { done, already, missing, full };

    explicit Registry(RegistryObserver& observer);
    Registry(const Registry&) = delete;
    Registry& operator=(const Registry&) = delete;

    Result add(Holder& holder, DSProvider* provider);
    Result remove(Holder& holder, const DSProvider& provider);
    Result addTrigger(Holder& holder, DSName* name);
    Result removeTrigger(Holder& holder, const DSName& name);
    // The holder is leaving: its triggers go first, so that it hears nothing of itself.
    void removeAll(Holder& holder);

    // The one registered first, or null.
    DSProvider* find(const DSName& name) const;
    // Whoever has registered such a provider, or null.
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

private:
    struct RegistrationProbe {
        const DSProvider& provider;
        const Holder* holder; // null: anybody
    };
    struct TriggerProbe {
        const DSName& name;
        const Holder* holder;
    };

    // Nobody sees the order of these tables, so they hash by fingerprint: the protocol's hash would crowd
    // names that differ in a few digits, and a client that goes may take a hundred thousand of them out.
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

    ServiceName* serviceFor(const DSName& name);
    void dropIfIdle(const ServiceName* service);
    void remove(Registration* registration);
    void removeTrigger(Trigger* trigger);

    RegistryObserver& observer_;
    harbolance::HashTable<RegistrationTraits> registrations_;
    harbolance::HashTable<TriggerTraits> triggers_;
    harbolance::HashTable<ServiceTraits> services_;
    uint32_t names_ = 0;
};

} // namespace locd
