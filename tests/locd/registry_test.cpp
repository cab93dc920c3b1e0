#include "locd/registry.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <vector>

namespace {

using locd::Holder;
using locd::Registration;
using locd::Registry;
using locd::ServiceName;
using Result = Registry::Result;

NCRef<DSName> nameOf(const std::string& text, int serviceType = DSServiceManual,
                     DSResource* value = nullptr) {
    return new DSName(text.c_str(), dsArgType, serviceType, value);
}

NCRef<DSProvider> providerOf(const DSName& name, int port = 1) {
    return new DSProvider(name, DSAddr(port, in_addr_t{htonl(INADDR_LOOPBACK)}));
}

NCRef<DSProvider> providerOf(const std::string& name, int port = 1) {
    return providerOf(*nameOf(name), port);
}

// Writes down what the registry tells.
struct Record : locd::RegistryObserver {
    void providerUp(const Registration& one) override { tell("up ", one); }
    void providerDown(const Registration& one) override { tell("down ", one); }
    void watchEnds(const ServiceName& service) override {
        events.push_back(std::string("unwatched ") + service.name->name());
    }
    void tell(const char* what, const Registration& one) {
        events.push_back(what + std::string(one.provider->name().name()));
        if (!one.service->triggers.empty())
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

    Result add(Holder& holder, const NCRef<DSProvider>& provider, uint32_t octets = 1) {
        return registry.add(holder, provider.get(), octets);
    }
    Result watch(Holder& holder, const char* name) {
        return registry.addTrigger(holder, nameOf(name).get(), 1);
    }

    Record record;
    Registry registry{record};
    Holder one;
    Holder two;
};

} // namespace

TEST_F(LocdRegistry, nameIsThatOfTheProviderWhichCameFirst) {
    const auto first = [this] {
        const auto* value = nc_cast<DSName>(registry.service(*nameOf("a"))->name->value());
        const DSProvider* found = registry.find(*nameOf("a", DSServiceManual, nameOf("ignored").get()));
        return std::pair{std::string(value ? value->name() : ""), found ? found->addr().port() : 0};
    };
    watch(two, "a");
    EXPECT_EQ(first(), std::pair(std::string(""), 0));
    const auto provider = providerOf(*nameOf("a", DSServiceManual, nameOf("x").get()), 1);
    add(one, provider);
    add(two, providerOf(*nameOf("a", DSServiceManual, nameOf("y").get()), 2));
    add(one, providerOf(*nameOf("a", DSServiceOad), 3));
    EXPECT_EQ(first(), std::pair(std::string("x"), 1));
    EXPECT_EQ(registry.find(*nameOf("a", DSServiceOad))->addr().port(), 3);
    registry.putLast(*provider);
    EXPECT_EQ(first(), std::pair(std::string("y"), 2));
    registry.putLast(*providerOf(*nameOf("a", DSServiceManual, nameOf("y").get()), 2));
    EXPECT_EQ(first(), std::pair(std::string("x"), 1));
    registry.remove(one, *provider);
    registry.putLast(*provider);
    EXPECT_EQ(first(), std::pair(std::string("y"), 2));
    EXPECT_EQ(registry.names(), 2U);
}

TEST_F(LocdRegistry, leavingClientHearsNothingOfItselfAndAgentsAreNoWatchers) {
    Holder agent;
    agent.isAgent = true;
    watch(agent, "a");
    watch(one, "a");
    watch(two, "b");
    add(one, providerOf("a"));
    add(one, providerOf("b"));
    registry.removeAll(agent);
    registry.removeAll(one);

    const std::vector<std::string> expected{"up a heard", "up b heard", "unwatched a", "down a",
                                            "down b heard"};
    EXPECT_EQ(record.events, expected);
    EXPECT_EQ(registry.service(*nameOf("a")), nullptr);
    EXPECT_NE(registry.service(*nameOf("b")), nullptr);
    EXPECT_EQ(one.registrations.octets + one.triggers.octets + registry.registrationOctets(), 0U);
}

TEST_F(LocdRegistry, limitsHoldForOneClientAndForAll) {
    // How many the first client gets in, and how many then the second one, of 100 octets each.
    const std::tuple<Registry::Limits, int, int> cases[] = {{{5, 3, 1000, 1000}, 3, 2},
                                                            {{9, 9, 500, 300}, 3, 2},
                                                            {{9, 9, 1000, 399}, 3, 3},
                                                            {{90, 90, 1000, 1000}, 7, 2}};
    for (const auto& [limits, ofFirst, ofSecond] : cases) {
        Registry limited(record, limits);
        for (const auto& [holder, expected] : {std::pair{&one, ofFirst}, std::pair{&two, ofSecond}}) {
            int taken = 0;
            while (limited.add(*holder, providerOf("a", taken).get(), 100) == Result::done)
                EXPECT_EQ(limited.addTrigger(*holder, nameOf("t" + std::to_string(taken++)).get(), 100),
                          Result::done);
            EXPECT_EQ(taken, expected);
            EXPECT_EQ(limited.addTrigger(*holder, nameOf("t").get(), 100), Result::full);
        }
        limited.removeAll(one);
        limited.removeAll(two);
    }
}

// In processor time, since other processes may keep this one waiting.
TEST_F(LocdRegistry, timeGrowsWithTheNumberOfNamesAndNoFaster) {
    const auto ticksFor = [this](int count) {
        const std::clock_t start = std::clock();
        while (count-- > 0)
            add(one, providerOf("IDL:Example/Name" + std::to_string(count) + ":1.0"));
        registry.removeAll(one);
        return std::clock() - start;
    };
    const auto few = ticksFor(5'000);
    EXPECT_LT(ticksFor(50'000), 30 * few + CLOCKS_PER_SEC / 10);
}
