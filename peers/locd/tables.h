#pragma once

// Containers of the agent.

#include "base/hash_table.h"

namespace locd {

using harbolance::GrowAtHalf;

// Whether one client may use `more` of a resource of which all clients together use `all`. Beside both
// limits, it may use at most twice what is left for the others, so that a few clients cannot use up
// everything.
inline bool hasShare(size_t all, size_t limit, size_t own, size_t ownLimit, size_t more) {
    // The first condition keeps the last difference from becoming negative.
    return all + more <= limit && own + more <= ownLimit && own + more <= 2 * (limit - all);
}

// The links of an element in one chain.
template <class T>
struct ChainLink {
    T* previous = nullptr;
    T* next = nullptr;
};

// An intrusive doubly linked list, which does not own its elements: adding and removing need no search and no
// allocation. An element is in at most one chain per link member.
template <class T, ChainLink<T> T::*link>
class Chain {
public:
    Chain() = default;
    Chain(const Chain&) = delete;
    Chain& operator=(const Chain&) = delete;

    bool empty() const { return !first_; }
    T* front() const { return first_; }
    static T* after(const T* element) { return (element->*link).next; }

    void append(T* element) {
        (element->*link) = {last_, nullptr};
        (last_ ? (last_->*link).next : first_) = element;
        last_ = element;
    }

    void remove(T* element) {
        const ChainLink<T> place = element->*link;
        (place.previous ? (place.previous->*link).next : first_) = place.next;
        (place.next ? (place.next->*link).previous : last_) = place.previous;
        (element->*link) = {};
    }

private:
    T* first_ = nullptr;
    T* last_ = nullptr;
};

} // namespace locd
