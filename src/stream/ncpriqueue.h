#pragma once

#include <cstdint>
#include <memory>
#include <vector>

// A bounded queue of messages to be written, by priority: low numbers leave first, equal ones in order of
// arrival. It does not own the data.
//
// All operations may be called from a handler; none waits.
class NCPriorityQueue {
public:
    static constexpr int statusEmpty = -99;
    static constexpr int statusFull = -100;

    explicit NCPriorityQueue(int capacity) { setCapacity(capacity); }
    NCPriorityQueue(const NCPriorityQueue&) = delete;
    NCPriorityQueue& operator=(const NCPriorityQueue&) = delete;

    // The position of a new entry with that priority, 0..size(), counted from the end that leaves last:
    // behind entries of higher number, in front of those with an equal or lower one.
    virtual int find(uint8_t priority) const;
    virtual ~NCPriorityQueue() = default;

    // 0, or -100 when the queue is full.
    int enqueue(void* data, uint8_t priority);
    // The data that leaves next, with status 0; null with -99 when the queue is empty. `peek` leaves it in.
    void* dequeue(int& status);
    void* peek(int& status) const;

    bool isEmpty() const { return count_ == 0; }
    int size() const { return count_; }
    int capacity() const { return capacity_; }
    // Raises the capacity; a smaller number changes nothing.
    void setCapacity(int capacity);

private:
    struct Entry {
        uint8_t priority = 0;
        void* data = nullptr;
    };

    Entry& entry(int index) const { return *entries_[static_cast<size_t>(index)]; }

    int capacity_ = 0;
    int count_ = 0;
    std::vector<std::unique_ptr<Entry>> entries_; // descending priority; those from count_ on are free
};
