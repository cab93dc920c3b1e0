#pragma once

#include "agent/collections/dscoll.h"

// A node of a DSLinkedList. It holds its value, and hashes, compares, prints and streams like it.
class DSLink : public DSResource {
public:
    static const NCTypeInfo info;

    explicit DSLink(DSResource* value) : value_(value) {}
    explicit DSLink(NCistream& in);

    DSLink* next() const { return next_; }
    DSResource* value() const { return value_.get(); }

    void write(NCostream& out) const override;
    const NCTypeInfo& typeInfo() const override { return info; }
    void printOn(NCostream& out) const override;
    uint32_t hash() const override { return value_ ? value_->hash() : 0; }
    // Compares values; `other` may be a link or a plain value.
    int compare(const NCObject* other) const override;
    uint64_t fingerprint() const override { return harbolance::fingerprintOf(value_.get()); }

private:
    friend class DSLinkedList;
    DSLink* next_ = nullptr; // owned by the list
    NCRef<DSResource> value_;
};

// A singly linked list. It is streamed as the count and the values from first to last.
class DSLinkedList : public DSCollection {
public:
    static const NCTypeInfo info;

    DSLinkedList() = default;
    explicit DSLinkedList(NCistream& in);
    DSLinkedList(const DSLinkedList&) = delete;
    DSLinkedList& operator=(const DSLinkedList&) = delete;
    ~DSLinkedList() override { DSLinkedList::clear(); }

    // Appends.
    DSResource* add(DSResource* object) override;
    // Removes the first value that is equal.
    int remove(const DSResource* object) override;
    void clear() override;
    uint32_t size() const override { return count_; }
    int includes(const DSResource* object) const override { return occurrencesOf(object); }
    // A cursor is a DSLink*. `position` counts from 1.
    void* next(harbolance::Iterator& it) const override;
    DSResource* at(void* cursor) const override { return static_cast<DSLink*>(cursor)->value(); }

    DSResource* addFirst(DSResource* object);
    // Returns null and does nothing when `existing` is not in the list.
    DSResource* addAfter(const DSResource* existing, DSResource* object);
    DSResource* at(int index) const;
    DSResource* first() const { return first_ ? first_->value() : nullptr; }
    DSResource* last() const { return last_ ? last_->value() : nullptr; }
    int removeFirst();
    int removeLast();
    int removeIdentical(const DSResource* object);
    int occurrencesOf(const DSResource* object) const;

    void write(NCostream& out) const override;
    const NCTypeInfo& typeInfo() const override { return info; }
    int compare(const NCObject* other) const override;

private:
    DSResource* insertBehind(DSLink* before, DSResource* object);
    int removeBehind(DSLink* before);
    template <class Matches>
    int removeWhere(Matches matches);

    DSLink* first_ = nullptr;
    DSLink* last_ = nullptr;
    uint32_t count_ = 0;
};
