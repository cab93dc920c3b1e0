#pragma once

#include "agent/collections/dscoll.h"

// A growing array in order of insertion, which may hold equal elements. It is streamed as capacity, count and
// the elements in order; a reader keeps order and capacity.
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
    // The number of elements that are equal to `object`.
    int includes(const DSResource* object) const override;
    void* next(harbolance::Iterator& it) const override;
    using DSCollection::at;

    virtual DSResource* addFirst(DSResource* object);
    // Return null and do nothing when `existing` is not in the collection.
    virtual DSResource* addAfter(const DSResource* existing, DSResource* object);
    virtual DSResource* addBefore(const DSResource* existing, DSResource* object);
    // Null outside 0 .. size() - 1.
    virtual DSResource* at(int index) const;
    virtual DSResource* first() const { return at(0); }
    virtual DSResource* last() const { return at(static_cast<int>(size()) - 1); }
    // Removes this very object, not an equal one.
    virtual int removeIdentical(const DSResource* object);
    virtual int removeAt(int index);
    virtual int removeFirst() { return removeAt(0); }
    virtual int removeLast() { return removeAt(static_cast<int>(size()) - 1); }
    virtual uint32_t capacity() const { return capacity_; }
    // -1 when there is no equal element.
    virtual int indexOf(const DSResource* object) const;

    void write(NCostream& out) const override;
    const NCTypeInfo& typeInfo() const override { return info; }
    int compare(const NCObject* other) const override;

private:
    DSResource* insert(size_t index, DSResource* object);

    uint32_t capacity_; // is written to streams; memory is allocated for the elements only
    std::vector<NCRef<DSResource>> items_;
};
