#pragma once

// The processes that are logged in.

#include "locd/network.h"
#include "locd/registry.h"
#include "locd/tables.h"
#include "net/ncrtt.h"

#include <array>
#include <deque>
#include <span>
#include <vector>

namespace locd {

// The requests that a client has sent lately, each with its answer, so that a repeat is answered again and
// executed once. A client may have several under way.
class RequestMemory {
public:
    static constexpr size_t mostRequests = 16;
    // Of all answers that are kept; two of any size always are.
    static constexpr size_t mostOctets = size_t{16} * 1024;

    enum class State {
        fresh,
        underWay, // its answer is being worked out
        answered,
        forgotten, // executed long ago, the answer is no longer there
    };
    State stateOf(uint32_t number) const;
    bool isUnderWay(uint32_t number) const { return stateOf(number) == State::underWay; }
    void begin(uint32_t number);
    void answered(uint32_t number, std::span<const uint8_t> octets);
    // Of an answered request.
    std::span<const uint8_t> answerTo(uint32_t number) const;

private:
    struct Entry {
        uint32_t number = 0;
        State state = State::fresh; // a free place
        std::vector<uint8_t> answer;
    };

    const Entry* find(uint32_t number) const;
    void forgetAnswer(Entry& entry);

    std::array<Entry, mostRequests> entries_;
    size_t next_ = 0; // the oldest entry, which gives way to the next request
    size_t octets_ = 0;
};

// A notification that a client has to get.
struct Notice {
    NCRef<DSProvider> provider;
    int status;      // DSStatusDone: it is up; DSStatusProviderDown
    uint32_t octets; // of the provider, for the limits
};

// The notifications for one client: one is on its way until the client acknowledges it, the others wait.
struct Outbox {
    std::deque<Notice> waiting;
    size_t octets = 0;         // of those that wait
    bool overrun = false;      // its share is used up: it gets no more, and its client is about to be removed
    std::vector<uint8_t> sent; // the datagram on its way; empty when there is none
    uint32_t number = 0;
    int64_t due = 0; // when it is repeated, in milliseconds
    NCrtt rtt;
};

struct Client : Holder {
    sockaddr_in address{};
    int processId = 0;
    int verifyPort = 0;       // 0 when the process has none
    uint32_t agentId = 0;     // of an agent: the number that it drew when it started
    uint32_t id = 0;          // of this session, in the cookies of are-you-alive
    in_addr_t agentAddress{}; // of this agent, in the providers that the client registers
    RequestMemory requests;
    std::unique_ptr<Outbox> outbox; // null while there is nothing to tell
    ChainLink<Client> unacknowledged;
    int64_t lastHeard = 0;        // milliseconds; from any of its addresses
    int64_t sessionLastHeard = 0; // from its session's address
    int probes = 0;               // are-you-alive sent since it was last heard
    int sessionProbes = 0;        // and those to its session's address since that was last heard
    bool leaving = false;         // has answered the end of session

    Client() = default;
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    uint64_t key() const { return keyOf(address); }
    // Where are-you-alive goes first.
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

    // No other client may have the same session address.
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
