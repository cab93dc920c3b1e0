#pragma once

#include "net/descriptors.h"
#include "net/dispatcher.h"

#include <array>

struct epoll_event;

namespace harbolance {

// A dispatcher whose wait costs as much as what is ready, not as much as what is watched: the system keeps
// the set of descriptors. Everything else about a turn is that of the base class. The global dispatcher is
// one of these; for a private one, which serves a single wait, the set would cost more than it saves.
//
// `select` looks at numbers, the set holds open files:
//
//   - A descriptor that is closed while it is linked is silent from then on. A file that is opened under its
//     number is watched once it is linked itself.
//   - A file that cannot be waited for, such as a regular one, is always ready for reading and writing, as it
//     is for `select`.
//   - After a fork the child makes a set of its own, since the one it has got is still its parent's.
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
        bool onlyChanges = false; // in a state that is reported unasked and that no handler watches for
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
    int forks_ = 0; // before the set was made
    std::array<Entry, maxDescriptors> entries_{};
    dpFdMask alwaysReady_;
    bool anyAlwaysReady_ = false; // something may be in it
    dpFdMask draining_;           // descriptors of `linkDraining`
    dpFdMask unread_;             // of these, readable whether the system reports it or not
    bool anyUnread_ = false;
};

} // namespace harbolance
