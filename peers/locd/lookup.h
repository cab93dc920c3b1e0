#pragma once

#include "net/descriptors.h"
#include "net/dispatcher.h"
#include "net/host_address.h"

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace locd {

// Looks host names up in a child process, since the resolver blocks for as long as its servers are silent.
class HostLookup : public dpIOHandler {
public:
    using Find = std::optional<in_addr_t> (*)(const char* host);
    // `number` is the place of the host in the list; nothing for a host that is unknown.
    using Found = std::function<void(size_t number, std::optional<in_addr_t> address)>;

    HostLookup(std::vector<std::string> hosts, Found found, Find find = harbolance::addressOfHost);
    HostLookup(const HostLookup&) = delete;
    HostLookup& operator=(const HostLookup&) = delete;
    ~HostLookup() override;

    // `found` is called from the dispatcher for each host in turn. Nothing happens while an earlier look-up
    // goes on, or when the system has no process or descriptor to spare; the caller starts again later
    // anyway.
    void start();

    int inputReady(int fd) override;

private:
    struct Answer {
        in_addr_t address;
        bool known;
    };

    [[noreturn]] void answerAll(int fd) const;
    void end();

    const std::vector<std::string> hosts_;
    Found found_;
    Find find_;
    pid_t child_ = -1;
    harbolance::Descriptor pipe_;
    size_t number_ = 0; // of the next answer
};

} // namespace locd
