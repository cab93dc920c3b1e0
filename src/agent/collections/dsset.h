#pragma once

#include "agent/collections/dscoll.h"
#include "base/hash_table.h"

namespace harbolance {

struct SetTraits : GrowWhenFull {
    using Entry = NCRef<DSResource>;
    static bool isFree(const Entry& entry) { return !entry; }
    static uint32_t hash(const Entry& entry) { return entry->hash(); }
    static uint32_t hash(const DSResource* probe) { return probe->hash(); }
    static bool equal(const Entry& stored, const Entry& probe) { return stored->isEqual(probe.get()); }
    static bool equal(const Entry& stored, const DSResource* probe) { return stored->isEqual(probe); }
    static uint64_t fingerprint(const DSResource* probe) { return probe->fingerprint(); }
    static uint64_t fingerprint(const Entry& entry) { return entry->fingerprint(); }
};

} // namespace harbolance

// A set: a hash table of records, iterated, streamed and printed in the order of its slots. It is streamed as
// capacity, count and the elements in that order. A reader sizes its own table for the count, so its order
// may be different.
class DSSet : public DSCollection {
public:
    static const NCTypeInfo info;

    // A size argument of 16 gives 32 slots; see hashTableBits. 0 gives the smallest table.
    explicit DSSet(uint32_t sizeArgument = 16) : table_(sizeArgument) {}
    explicit DSSet(NCistream& in) : DSSet(in, DSResource::info) {}
    DSSet(const DSSet& other);
    DSSet& operator=(const DSSet&) = delete;

    // Of two equal records the first stays; the other is not added and its reference count not changed.
    DSResource* add(DSResource* object) override;
    int remove(const DSResource* object) override;
    void clear() override { table_.clear(); }
    uint32_t size() const override { return table_.size(); }
    int includes(const DSResource* object) const override { return find(object) != nullptr; }
    void* next(harbolance::Iterator& it) const override;
    using DSCollection::at;

    virtual uint32_t findIndexOf(const DSResource* object) const { return table_.indexOf(object); }
    // The element that equals `object`, or null.
    virtual DSResource* find(const DSResource* object) const;
    virtual uint32_t capacity() const { return table_.capacity(); }

    // Makes this set a copy of the other collection.
    void addAll(const DSCollection& other);
    // These make new sets.
    static NCRef<DSSet> unionOf(const DSSet& a, const DSSet& b);
    static NCRef<DSSet> intersectionOf(const DSSet& a, const DSSet& b);
    static NCRef<DSSet> differenceOf(const DSSet& a, const DSSet& b);

    void write(NCostream& out) const override;
    const NCTypeInfo& typeInfo() const override { return info; }
    int compare(const NCObject* other) const override;

protected:
    DSSet(NCistream& in, const NCTypeInfo& elementType);

private:
    harbolance::HashTable<harbolance::SetTraits> table_;
};
