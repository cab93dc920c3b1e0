#include "locd/registry.h"

namespace locd {

namespace {

constexpr uint32_t firstTables = 256;

} // namespace

Registry::Registry(RegistryObserver& observer, const Limits& limits)
    : observer_(observer), limits_(limits), registrations_(firstTables), triggers_(firstTables),
      services_(firstTables) {}

template <class T>
bool Registry::hasSpace(uint32_t count, size_t octets, const Holding<T>& holding, uint32_t more) const {
    return hasShare(count, limits_.count, holding.count, limits_.countOfHolder, 1) &&
           hasShare(octets, limits_.octets, holding.octets, limits_.octetsOfHolder, more);
}

ServiceName* Registry::serviceFor(const DSName& name) {
    // The index of the name or of its free place; valid until something is inserted.
    const uint32_t index = services_.indexOf(name);
    if (services_.slot(index))
        return services_.slot(index).get();
    auto made = std::make_unique<ServiceName>();
    // Copied, because the given name may be part of a provider, which is destroyed when it is withdrawn.
    made->name = new DSName(name);
    return services_.insertAt(index, std::move(made)).entry->get();
}

void Registry::dropIfIdle(const ServiceName* service) {
    // Held, because the argument is part of what is removed; so are those below.
    if (service->registrations.empty() && service->triggers.empty())
        services_.take(*NCRef<DSName>(service->name));
}

Registry::Result Registry::add(Holder& holder, DSProvider* provider, uint32_t octets) {
    const uint32_t index = registrations_.indexOf(RegistrationProbe{*provider, &holder});
    if (registrations_.slot(index))
        return Result::already;
    // Tested before serviceFor(), so that nothing has to be undone.
    if (!hasSpace(registrations_.size(), registrationOctets_, holder.registrations, octets))
        return Result::full;
    ServiceName* service = serviceFor(provider->name());
    if (service->registrations.empty()) {
        ++names_;
        // Until now the name was that of a trigger, whose value must not appear in lists.
        if (!service->triggers.empty())
            service->name = new DSName(provider->name());
    }
    auto made = std::make_unique<Registration>(Registration{provider, octets, &holder, service, {}, {}});
    holder.registrations.append(made.get());
    service->registrations.append(made.get());
    ++holder.registrations.count;
    holder.registrations.octets += octets;
    registrationOctets_ += octets;
    ++version_;
    const Registration& added = *made;
    registrations_.insertAt(index, std::move(made));
    // Called last, so that the observer sees the registry with the provider in it.
    observer_.providerUp(added);
    return Result::done;
}

Registry::Result Registry::remove(Holder& holder, const DSProvider& provider) {
    const auto* found = registrations_.find(RegistrationProbe{provider, &holder});
    if (!found)
        return Result::missing;
    remove(found->get());
    return Result::done;
}

void Registry::remove(Registration* registration) {
    ServiceName* service = registration->service;
    Holder* holder = registration->holder;
    const bool first = service->registrations.front() == registration;
    holder->registrations.remove(registration);
    service->registrations.remove(registration);
    --holder->registrations.count;
    holder->registrations.octets -= registration->octets;
    registrationOctets_ -= registration->octets;
    ++version_;
    // Removed from the tables before the observer is called, destroyed afterwards.
    const auto taken = registrations_.take(RegistrationProbe{*registration->provider, holder});
    if (service->registrations.empty())
        --names_;
    else if (first)
        nameAfterFirst(*service);
    observer_.providerDown(*taken);
    dropIfIdle(service);
}

Registry::Result Registry::addTrigger(Holder& holder, DSName* name, uint32_t octets) {
    const uint32_t index = triggers_.indexOf(TriggerProbe{*name, &holder});
    if (triggers_.slot(index))
        return Result::already;
    if (!hasSpace(triggers_.size(), triggerOctets_, holder.triggers, octets))
        return Result::full;
    ServiceName* service = serviceFor(*name);
    auto made = std::make_unique<Trigger>(Trigger{name, octets, &holder, service, {}, {}});
    holder.triggers.append(made.get());
    service->triggers.append(made.get());
    ++holder.triggers.count;
    holder.triggers.octets += octets;
    triggerOctets_ += octets;
    if (!holder.isAgent)
        ++service->watchers;
    triggers_.insertAt(index, std::move(made));
    return Result::done;
}

Registry::Result Registry::removeTrigger(Holder& holder, const DSName& name) {
    const auto* found = triggers_.find(TriggerProbe{name, &holder});
    if (!found)
        return Result::missing;
    removeTrigger(found->get());
    return Result::done;
}

void Registry::removeTrigger(Trigger* trigger) {
    ServiceName* service = trigger->service;
    Holder* holder = trigger->holder;
    holder->triggers.remove(trigger);
    service->triggers.remove(trigger);
    --holder->triggers.count;
    holder->triggers.octets -= trigger->octets;
    triggerOctets_ -= trigger->octets;
    triggers_.take(TriggerProbe{*NCRef<DSName>(trigger->name), holder});
    // Triggers of agents are for their own clients. If they were passed on, agents would keep each other's
    // triggers for ever.
    if (!holder->isAgent && --service->watchers == 0)
        observer_.watchEnds(*service);
    dropIfIdle(service);
}

void Registry::removeAll(Holder& holder) {
    while (Trigger* trigger = holder.triggers.front())
        removeTrigger(trigger);
    while (Registration* registration = holder.registrations.front())
        remove(registration);
}

void Registry::nameAfterFirst(ServiceName& service) {
    service.name = new DSName(service.registrations.front()->provider->name());
}

void Registry::putLast(const DSProvider& provider) {
    const auto* found = registrations_.find(RegistrationProbe{provider, nullptr});
    if (!found)
        return;
    ServiceName& service = *(*found)->service;
    service.registrations.remove(found->get());
    service.registrations.append(found->get());
    nameAfterFirst(service);
    ++version_;
}

const ServiceName* Registry::service(const DSName& name) const {
    const auto* found = services_.find(name);
    return found ? found->get() : nullptr;
}

DSProvider* Registry::find(const DSName& name) const {
    const ServiceName* found = service(name);
    const Registration* first = found ? found->registrations.front() : nullptr;
    return first ? first->provider.get() : nullptr;
}

Holder* Registry::holderOf(const DSProvider& provider) const {
    const auto* found = registrations_.find(RegistrationProbe{provider, nullptr});
    return found ? (*found)->holder : nullptr;
}

} // namespace locd
