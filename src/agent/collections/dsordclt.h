#pragma once

#include "agent/collections/dscoll.h"

// A growing array, in the order of insertion; it may hold equal elements.
// It travels as capacity, count and the elements in order; a reader keeps order and capacity.
class DSOrderedCltn : public DSCollection {
public:
    static const NCTypeInfo info;

    explicit DSOrderedCltn(uint32_t capacity = 16) : capacity_(capacity > 0 ? capacity : 1) {}
    explicit DSOrderedCltn(NCistream& in);

    // Appends.
    DSResource* add(DSResource* object) override;
    // Removes the first element that is equal.
    int remove(const DSResource* object) override;
    void clear() override { items_.clear(); }
    uint32_t size() const override { return static_cast<uint32_t>(items_.size()); }
    // How many elements are equal to `object`.
    int includes(const DSResource* object) const override;
    void* next(harbolance::Iterator& it) const override;
    using DSCollection::at;

    virtual DSResource* addFirst(DSResource* object);
    // Null, and nothing done, when `existing` is not there.
    virtual DSResource* addAfter(const DSResource* existing, DSResource* object);
    virtual DSResource* addBefore(const DSResource* existing, DSResource* object);
    // Null outside 0 .. size() - 1.
    virtual DSResource* at(int index) const;
    virtual DSResource* first() const { return at(0); }
    virtual DSResource* last() const { return at(static_cast<int>(size()) - 1); }
    // The object itself, not an equal one.
    virtual int removeIdentical(const DSResource* object);
    virtual int removeAt(int index);
    virtual int removeFirst() { return removeAt(0); }
    virtual int removeLast() { return removeAt(static_cast<int>(size()) - 1); }
    virtual uint32_t capacity() const { return capacity_; }
    // -1 when missing.
    virtual int indexOf(const DSResource* object) const;

    void write(NCostream& out) const override;
    const NCTypeInfo& typeInfo() const override { return info; }
    int compare(const NCObject* other) const override;

private:
    DSResource* insert(size_t index, DSResource* object);

    uint32_t capacity_; // what is written; memory is taken for the elements only
    std::vector<NCRef<DSResource>> items_;
};
