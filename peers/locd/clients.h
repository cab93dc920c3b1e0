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

// The recent requests of a client with their answers, so that a repeated request is answered again but
// executed only once. A client may have several requests outstanding.
class RequestMemory {
public:
    static constexpr size_t mostRequests = 16;
    // Limit for all stored answers in octets; the last two are kept whatever their size.
    static constexpr size_t mostOctets = size_t{16} * 1024;

    enum class State {
        fresh,
        underWay, // being executed
        answered,
        forgotten, // executed long ago; the answer has been freed
    };
    State stateOf(uint32_t number) const;
    bool isUnderWay(uint32_t number) const { return stateOf(number) == State::underWay; }
    void begin(uint32_t number);
    void answered(uint32_t number, std::span<const uint8_t> octets);
    // The stored answer to the request, which must be answered.
    std::span<const uint8_t> answerTo(uint32_t number) const;

private:
    struct Entry {
        uint32_t number = 0;
        State state = State::fresh; // free entry
        std::vector<uint8_t> answer;
    };

    const Entry* find(uint32_t number) const;
    void forgetAnswer(Entry& entry);

    std::array<Entry, mostRequests> entries_;
    size_t next_ = 0; // the oldest entry, reused for the next request
    size_t octets_ = 0;
};

// A notification to be sent to a client.
struct Notice {
    NCRef<DSProvider> provider;
    int status;      // DSStatusDone: it is up; DSStatusProviderDown
    uint32_t octets; // of the provider; counted for the limits
};

// The notifications for one client: one is sent and waits for its acknowledgement, the others are queued.
struct Outbox {
    std::deque<Notice> waiting;
    size_t octets = 0; // of the queued ones
    // Its share is used up: nothing more is queued, and the client is about to be removed.
    bool overrun = false;
    std::vector<uint8_t> sent; // the datagram waiting for acknowledgement; empty when there is none
    uint32_t number = 0;
    int64_t due = 0; // time of the next repeat in milliseconds
    NCrtt rtt;
};

struct Client : Holder {
    sockaddr_in address{};
    int processId = 0;
    int verifyPort = 0;       // 0 when the process has none
    uint32_t agentId = 0;     // of an agent: the number drawn at its start
    uint32_t id = 0;          // of this session, in the cookies of are-you-alive
    in_addr_t agentAddress{}; // of this agent, in the providers that the client registers
    RequestMemory requests;
    std::unique_ptr<Outbox> outbox; // null until there is a notification
    ChainLink<Client> unacknowledged;
    int64_t lastHeard = 0;        // milliseconds; from any of its addresses
    int64_t sessionLastHeard = 0; // from its session's address
    int probes = 0;               // are-you-alive sent since it was last heard
    int sessionProbes = 0;        // the same for its session's address
    bool leaving = false;         // has acknowledged the end of session

    Client() = default;
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    uint64_t key() const { return keyOf(address); }
    // The address that are-you-alive is sent to first.
    sockaddr_in verifyAddress() const;
};

// The clients by session address and by verify address. The table owns them.
class Clients {
public:
    static constexpr uint32_t most = 10'000;

    Clients();

    Client* find(const sockaddr_in& address) const;
    // The client process that has, or had, this verify port.
    Client* findByVerifyAddress(in_addr_t address, int port) const;
    Client* findById(uint32_t id) const;
    bool full() const { return byAddress_.size() >= most; }
    uint32_t size() const { return byAddress_.size(); }

    // The session address must not be in use by another client.
    Client& add(std::unique_ptr<Client> client);
    // Its registrations must have been removed.
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
