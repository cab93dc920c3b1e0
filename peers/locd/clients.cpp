#include "locd/clients.h"

#include <algorithm>
#include <random>

using namespace harbolance;

namespace locd {

namespace {

constexpr uint32_t firstTables = 64;

} // namespace

Repeats::Kind Repeats::kindOf(uint32_t number) const {
    if (isLast(number))
        return Kind::last;
    const auto end = recent_.begin() + static_cast<ptrdiff_t>(std::min(count_, recent_.size()));
    return std::find(recent_.begin(), end, number) != end ? Kind::old : Kind::fresh;
}

void Repeats::begin(uint32_t number) {
    recent_[count_++ % recent_.size()] = number;
    answer_.clear();
}

sockaddr_in Client::verifyAddress() const {
    return verifyPort != 0 ? socketAddress(address.sin_addr.s_addr, verifyPort) : address;
}

Clients::Clients()
    : byAddress_(firstTables), byVerifyAddress_(firstTables), byId_(firstTables),
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
    byAddress_.take(client.key());
}

} // namespace locd
