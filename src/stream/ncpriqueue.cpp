#include "stream/ncpriqueue.h"

#include <algorithm>

int NCPriorityQueue::find(uint8_t priority) const {
    int low = 0;
    int high = count_;
    while (low < high) {
        const int middle = low + (high - low) / 2;
        // Among equal priorities the search goes on towards the end that leaves last, which keeps their order
        // of arrival.
        if (entry(middle).priority > priority)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

int NCPriorityQueue::enqueue(void* data, uint8_t priority) {
    if (count_ >= capacity_)
        return statusFull;
    const auto place = entries_.begin() + find(priority);
    const auto free = entries_.begin() + count_;
    // Moves the first free entry to the new place. Only `setCapacity` allocates entries.
    std::rotate(place, free, free + 1);
    **place = {priority, data};
    ++count_;
    return 0;
}

void* NCPriorityQueue::dequeue(int& status) {
    void* data = peek(status);
    if (status == 0)
        --count_;
    return data;
}

void* NCPriorityQueue::peek(int& status) const {
    if (count_ == 0) {
        status = statusEmpty;
        return nullptr;
    }
    status = 0;
    return entry(count_ - 1).data;
}

void NCPriorityQueue::setCapacity(int capacity) {
    if (capacity <= capacity_)
        return;
    entries_.reserve(static_cast<size_t>(capacity));
    while (static_cast<int>(entries_.size()) < capacity)
        entries_.push_back(std::make_unique<Entry>());
    // Set last: when an allocation above fails, the old capacity remains valid.
    capacity_ = capacity;
}
