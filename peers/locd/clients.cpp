#include "locd/clients.h"

#include <algorithm>
#include <random>

using namespace harbolance;

namespace locd {

namespace {

constexpr uint32_t firstTables = 64;

} // namespace

const RequestMemory::Entry* RequestMemory::find(uint32_t number) const {
    const auto found = std::find_if(entries_.begin(), entries_.end(), [number](const Entry& entry) {
        // A free entry has the number 0, which a request may have too.
        return entry.state != State::fresh && entry.number == number;
    });
    return found != entries_.end() ? &*found : nullptr;
}

RequestMemory::State RequestMemory::stateOf(uint32_t number) const {
    const Entry* entry = find(number);
    return entry ? entry->state : State::fresh;
}

void RequestMemory::begin(uint32_t number) {
    // The oldest request is forgotten completely: a late copy of it would count as new.
    Entry& entry = entries_[next_];
    next_ = (next_ + 1) % mostRequests;
    forgetAnswer(entry);
    entry.number = number;
    entry.state = State::underWay;
}

void RequestMemory::answered(uint32_t number, std::span<const uint8_t> octets) {
    auto* entry = const_cast<Entry*>(find(number));
    if (!entry)
        return; // the entry has been reused by later requests
    // Counted before the answer is stored, so that its own entry, which is not answered yet, is not freed
    // below.
    octets_ += octets.size();
    for (size_t i = 0; octets_ > mostOctets && i < mostRequests; ++i) // the oldest answers first
        forgetAnswer(entries_[(next_ + i) % mostRequests]);
    // Stored whatever its size, because a repeat of the request may already have been sent.
    entry->answer.assign(octets.begin(), octets.end());
    entry->state = State::answered;
}

void RequestMemory::forgetAnswer(Entry& entry) {
    if (entry.state != State::answered)
        return;
    octets_ -= entry.answer.size();
    entry.answer = {};
    entry.state = State::forgotten;
}

std::span<const uint8_t> RequestMemory::answerTo(uint32_t number) const { return find(number)->answer; }

sockaddr_in Client::verifyAddress() const {
    return verifyPort != 0 ? socketAddress(address.sin_addr.s_addr, verifyPort) : address;
}

Clients::Clients()
    : byAddress_(firstTables), byVerifyAddress_(firstTables), byId_(firstTables),
      // Random start, so that answers to a former agent on this port are not taken for answers of clients.
      nextId_(std::random_device{}()) {}

Client* Clients::find(const sockaddr_in& address) const {
    const auto* found = byAddress_.find(keyOf(address));
    return found ? found->get() : nullptr;
}

Client* Clients::findByVerifyAddress(in_addr_t address, int port) const {
    const auto* found = port != 0 ? byVerifyAddress_.find(keyOf(address, port)) : nullptr;
    return found ? found->client : nullptr;
}

Client* Clients::findById(uint32_t id) const {
    const auto* found = byId_.find(uint64_t{id});
    return found ? found->client : nullptr;
}

Client& Clients::add(std::unique_ptr<Client> client) {
    Client& added = *client;
    do {
        // 0 stands for an answer without a number. After 2^32 clients the numbers start again, and old
        // clients may still exist.
        added.id = nextId_++;
    } while (added.id == 0 || findById(added.id));
    byId_.insert({added.id, &added});
    if (added.verifyPort != 0)
        byVerifyAddress_.insert({keyOf(added.verifyAddress()), &added});
    byAddress_.insertAt(byAddress_.indexOf(added.key()), std::move(client));
    return added;
}

void Clients::remove(Client& client) {
    byId_.take(uint64_t{client.id});
    if (client.verifyPort != 0)
        byVerifyAddress_.take(keyOf(client.verifyAddress()));
    byAddress_.take(client.key()); // last, because it destroys the client
}

} // namespace locd
