#pragma once

// The processes that are logged in.

#include "locd/network.h"
#include "locd/outbox.h"
#include "locd/registry.h"
#include "locd/tables.h"

#include <array>
#include <span>
#include <vector>

namespace locd {

// The requests that a client has sent lately, and the answer to the last one: what is needed to answer a
// repeat again and to execute nothing twice.
class Repeats {
public:
    enum class Kind {
        fresh,
        last, // the answer is `answer`, which is empty while it is being worked out
        old,  // the client has gone on since
    };
    Kind kindOf(uint32_t number) const;
    // From now on `number` is the last request.
    void begin(uint32_t number);
    bool isLast(uint32_t number) const { return count_ > 0 && number == last(); }
    void answered(std::span<const uint8_t> octets) { answer_.assign(octets.begin(), octets.end()); }
    std::span<const uint8_t> answer() const { return answer_; }

private:
    uint32_t last() const { return recent_[(count_ - 1) % recent_.size()]; }

    std::array<uint32_t, 16> recent_{};
    size_t count_ = 0;
    std::vector<uint8_t> answer_;
};

struct Client : Holder {
    sockaddr_in address{};
    int processId = 0;
    int verifyPort = 0; // 0 when the process has none
    uint32_t id = 0;
    in_addr_t agentAddress{}; // of this agent, in the providers that the client registers
    Repeats repeats;
    std::unique_ptr<Outbox> outbox; // null while there is nothing to tell
    ChainLink<Client> unacknowledged;
    int64_t lastHeard = 0; // milliseconds
    int probes = 0;        // are-you-alive sent since it was last heard
    bool leaving = false;  // has answered the end of session

    Client() = default;
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    uint64_t key() const { return keyOf(address); }
    // Where are-you-alive goes.
    sockaddr_in verifyAddress() const;
};

// The clients by session address and by verify address. Each belongs to the table.
class Clients {
public:
    static constexpr uint32_t most = 10'000;

    Clients();

    Client* find(const sockaddr_in& address) const;
    // The process that has, or had, this verify port.
    Client* findByVerifyAddress(in_addr_t address, int port) const;
    Client* findById(uint32_t id) const;
    bool full() const { return byAddress_.size() >= most; }
    uint32_t size() const { return byAddress_.size(); }

    // Nobody may have the same session address.
    Client& add(std::unique_ptr<Client> client);
    // Its registrations must be gone.
    void remove(Client& client);

    // Calls `visit(Client&)` for each; `visit` must not add or remove any.
    template <class Visit>
    void forEach(Visit visit) const {
        for (uint32_t i = byAddress_.next(0); i < byAddress_.capacity(); i = byAddress_.next(i + 1))
            visit(*byAddress_.slot(i));
    }

private:
    struct KeyTraits : GrowAtHalf {
        static uint32_t hash(uint64_t key) {
            return static_cast<uint32_t>(harbolance::mixFingerprint(0, key));
        }
    };
    struct AddressTraits : KeyTraits {
        using Entry = std::unique_ptr<Client>;
        using KeyTraits::hash;
        static bool isFree(const Entry& entry) { return !entry; }
        static uint32_t hash(const Entry& entry) { return hash(entry->key()); }
        static bool equal(const Entry& entry, uint64_t key) { return entry->key() == key; }
    };
    struct Index {
        uint64_t key = 0;
        Client* client = nullptr;
    };
    struct IndexTraits : KeyTraits {
        using Entry = Index;
        using KeyTraits::hash;
        static bool isFree(const Entry& entry) { return !entry.client; }
        static uint32_t hash(const Entry& entry) { return hash(entry.key); }
        static bool equal(const Entry& entry, uint64_t key) { return entry.key == key; }
        static bool equal(const Entry& stored, const Entry& entry) { return stored.key == entry.key; }
    };

    harbolance::HashTable<AddressTraits> byAddress_;
    harbolance::HashTable<IndexTraits> byVerifyAddress_;
    harbolance::HashTable<IndexTraits> byId_;
    uint32_t nextId_;
};

} // namespace locd
