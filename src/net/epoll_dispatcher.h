#pragma once

#include "net/descriptors.h"
#include "net/dispatcher.h"

#include <array>

struct epoll_event;

namespace harbolance {

// A dispatcher that waits by epoll: a wait costs in proportion to the descriptors that are ready, not to
// those that are watched. Everything else about a turn is that of the base class. The global dispatcher is
// one of these; a private dispatcher, used for a single wait, is a plain dpDispatcher, since making an epoll
// set would cost more than it saves.
//
// `select` watches descriptor numbers, an epoll set watches open files. Therefore:
//
//   - A descriptor that is closed while it is linked gives no more events. A new file with the same number is
//     watched once it is linked itself.
//   - A file that cannot be waited for, such as a regular one, is always ready for reading and writing, as it
//     is for `select`.
//   - After a fork the child makes an epoll set of its own, since the inherited one is shared with the
//   parent.
//   - When the system has no descriptor or memory left for the set, `select` does the waiting.
class dpEpollDispatcher : public dpDispatcher {
public:
    void link(int fd, int mask, dpIOHandler* handler) override;
    // Entered as edge-triggered while the descriptor is watched for reading only.
    void linkDraining(int fd, dpIOHandler* handler) override;
    void leftUnread(int fd) override;

protected:
    void attach(int fd, int mask, dpIOHandler* handler) override;
    void detach(int fd) override;
    int waitFor(dpFdMask& r, dpFdMask& w, dpFdMask& e, timeval* limit) override;
    void notServed(const dpFdMask& r) override;

private:
    struct Entry {
        uint32_t serial = 0; // tells the events of this file from those of an earlier one under its number
        bool onlyChanges = false; // in a state that is reported unasked and that no handler watches
    };

    Entry& entry(int fd) { return entries_[static_cast<size_t>(fd)]; }
    bool isLinked(int fd) const;
    bool hasSet() const;
    bool makeSet();
    bool control(int operation, int fd);
    void enter(int fd);
    int collect(const timeval* limit, dpFdMask& r, dpFdMask& w, dpFdMask& e);
    int take(const epoll_event& event, dpFdMask& r, dpFdMask& w, dpFdMask& e);

    Descriptor set_;
    int forks_ = 0; // value of the fork counter when the set was made
    std::array<Entry, maxDescriptors> entries_{};
    dpFdMask alwaysReady_;
    bool anyAlwaysReady_ = false; // `alwaysReady_` may have members
    dpFdMask draining_;           // linked by `linkDraining`
    dpFdMask unread_;             // some of `draining_` that the next wait finds readable in any case
    bool anyUnread_ = false;      // `unread_` may have members
};

} // namespace harbolance
