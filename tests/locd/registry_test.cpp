#include "locd/registry.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <vector>

namespace {

using locd::Holder;
using locd::Registry;
using locd::ServiceName;
using Result = Registry::Result;

NCRef<DSName> nameOf(const char* text, int serviceType = DSServiceManual, DSResource* value = nullptr) {
    return new DSName(text, dsArgType, serviceType, value);
}

NCRef<DSProvider> providerOf(const DSName& name, int port = 1) {
    return new DSProvider(name, DSAddr(port, in_addr{htonl(INADDR_LOOPBACK)}));
}

NCRef<DSProvider> providerOf(const char* name, int port = 1) { return providerOf(*nameOf(name), port); }

// Writes down what the registry tells.
struct Story : locd::RegistryObserver {
    void providerUp(const ServiceName& service, DSProvider* provider) override {
        tell("up ", service, provider);
    }
    void providerDown(const ServiceName& service, DSProvider* provider) override {
        tell("down ", service, provider);
    }
    void watchEnds(const ServiceName& service) override {
        events.push_back(std::string("unwatched ") + service.name->name());
    }
    void tell(const char* what, const ServiceName& service, const DSProvider* provider) {
        events.push_back(what + std::string(provider->name().name()));
        if (!service.triggers.empty())
            events.back() += " heard";
    }

    std::vector<std::string> events;
};

class LocdRegistry : public ::testing::Test {
protected:
    ~LocdRegistry() override {
        registry.removeAll(one);
        registry.removeAll(two);
    }

    Result add(Holder& holder, const NCRef<DSProvider>& provider) {
        return registry.add(holder, provider.get());
    }

    Story story;
    Registry registry{story};
    Holder one;
    Holder two;
};

} // namespace

TEST_F(LocdRegistry, findsTheProviderThatCameFirstUnderTheExactName) {
    const auto first = providerOf("a", 1);
    add(one, first);
    add(two, providerOf("a", 2));
    add(one, providerOf(*nameOf("a", DSServiceOad), 3));

    EXPECT_EQ(registry.find(*nameOf("a", DSServiceManual, nameOf("ignored").get())), first.get());
    EXPECT_EQ(registry.find(*nameOf("a", DSServiceOad))->addr().port(), 3);
    EXPECT_EQ(registry.find(*nameOf("a", DSServiceReference)), nullptr);
    registry.remove(one, *first);
    EXPECT_EQ(registry.find(*nameOf("a"))->addr().port(), 2);
    EXPECT_EQ(registry.registrations(), 2U);
    EXPECT_EQ(registry.names(), 2U);
}

TEST_F(LocdRegistry, clientsRegisterAndWithdrawForThemselvesOnly) {
    const auto provider = providerOf("a");
    EXPECT_EQ(add(one, provider), Result::done);
    EXPECT_EQ(add(one, providerOf("a")), Result::already);
    EXPECT_EQ(registry.remove(two, *provider), Result::missing);
    EXPECT_EQ(add(two, providerOf("a")), Result::done);
    EXPECT_EQ(registry.remove(one, *provider), Result::done);
    EXPECT_EQ(registry.remove(one, *provider), Result::missing);
    EXPECT_EQ(registry.holderOf(*provider), &two);
    registry.removeAll(two);
    EXPECT_EQ(registry.holderOf(*provider), nullptr);
}

TEST_F(LocdRegistry, nameIsThatOfTheFirstProviderWithItsValue) {
    const auto valueOf = [this] {
        const auto* value = nc_cast<DSName>(registry.service(*nameOf("a"))->name->value());
        return std::string(value ? value->name() : "none");
    };
    registry.addTrigger(two, nameOf("a").get());
    EXPECT_EQ(valueOf(), "none");
    const auto first = providerOf(*nameOf("a", DSServiceManual, nameOf("x").get()));
    add(one, first);
    add(one, providerOf(*nameOf("a", DSServiceManual, nameOf("y").get())));
    EXPECT_EQ(valueOf(), "x");
    registry.remove(one, *first);
    EXPECT_EQ(valueOf(), "y");
}

TEST_F(LocdRegistry, leavingClientHearsNothingOfItself) {
    registry.addTrigger(one, nameOf("a").get());
    registry.addTrigger(two, nameOf("b").get());
    add(one, providerOf("a"));
    add(one, providerOf("b"));
    registry.removeAll(one);

    const std::vector<std::string> expected{"up a heard", "up b heard", "unwatched a", "down a",
                                            "down b heard"};
    EXPECT_EQ(story.events, expected);
    EXPECT_EQ(registry.service(*nameOf("a")), nullptr);
    EXPECT_NE(registry.service(*nameOf("b")), nullptr);
    EXPECT_EQ(one.registrationCount + one.triggerCount, 0U);
}

TEST_F(LocdRegistry, agentsAreNoWatchers) {
    Holder agent;
    agent.isAgent = true;
    EXPECT_EQ(registry.addTrigger(agent, nameOf("a").get()), Result::done);
    EXPECT_EQ(registry.addTrigger(one, nameOf("a").get()), Result::done);
    EXPECT_EQ(registry.addTrigger(one, nameOf("a").get()), Result::already);
    EXPECT_EQ(registry.service(*nameOf("a"))->watchers, 1U);
    registry.removeTrigger(one, *nameOf("a"));
    EXPECT_EQ(story.events, std::vector<std::string>{"unwatched a"});
    registry.removeAll(agent);
    EXPECT_EQ(story.events.size(), 1U);
}

TEST_F(LocdRegistry, oneClientCannotTakeAllTheRoom) {
    for (uint32_t i = 0; i < Registry::mostOfHolder; ++i)
        ASSERT_EQ(add(one, providerOf("same", static_cast<int>(i))), Result::done);
    EXPECT_EQ(add(one, providerOf("more")), Result::full);
    EXPECT_EQ(add(two, providerOf("more")), Result::done);
}

// In processor time, since other processes may keep this one waiting.
TEST_F(LocdRegistry, timeGrowsWithTheNumberOfNamesAndNoFaster) {
    const auto secondsFor = [this](int count) {
        const std::clock_t start = std::clock();
        for (int i = 0; i < count; ++i)
            add(one, providerOf(("IDL:Example/Name" + std::to_string(100000 + i) + ":1.0").c_str()));
        registry.removeAll(one);
        return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    };
    const double few = secondsFor(5'000);
    EXPECT_LT(secondsFor(50'000), 30 * few + 0.1);
}
