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

// Looks up host names in a child process, because the resolver blocks while its servers do not answer.
class HostLookup : public dpIOHandler {
public:
    using Find = std::optional<in_addr_t> (*)(const char* host);
    // `number` is the index of the host in the list; no address means an unknown host.
    using Found = std::function<void(size_t number, std::optional<in_addr_t> address)>;

    HostLookup(std::vector<std::string> hosts, Found found, Find find = harbolance::addressOfHost);
    HostLookup(const HostLookup&) = delete;
    HostLookup& operator=(const HostLookup&) = delete;
    ~HostLookup() override;

    // `found` is called from the dispatcher for each host in turn. Does nothing while an earlier look-up is
    // running, or when no process or descriptor is available; the caller tries again later.
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
