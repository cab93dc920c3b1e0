#pragma once

// Containers of the agent.

#include "base/hash_table.h"

namespace locd {

using harbolance::GrowAtHalf;

// Whether one client may hold `more` of something of which all clients together hold `all`. Beside both
// limits it gets at most twice what is left for the others, so that a few greedy clients cannot take
// everything.
inline bool hasShare(size_t all, size_t limit, size_t own, size_t ownLimit, size_t more) {
    // The first condition keeps the last difference from falling below 0.
    return all + more <= limit && own + more <= ownLimit && own + more <= 2 * (limit - all);
}

// The place of an element in one chain.
template <class T>
struct ChainLink {
    T* previous = nullptr;
    T* next = nullptr;
};

// A doubly linked list through a member of its elements, which it does not own: joining and leaving cost
// no search and no allocation. An element is in one chain per link at the most.
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
