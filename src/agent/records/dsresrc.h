#pragma once

#include "base/refcount.h"
#include "base/string_hash.h"
#include "stream/ncobject.h"
#include "stream/ncstream.h"

// Base of every record that is reference-counted and can be a member of a collection. The count of a new
// record is 0, also of one that is read from a stream: the first holder adds the first reference.
class DSResource : public NCResource, public NCObject {
public:
    static const NCTypeInfo info;

    DSResource() = default;
    explicit DSResource(NCistream& in) : NCObject(in) { in.registerCounted(this); }
    DSResource(const DSResource&) = default;
    DSResource& operator=(const DSResource&) = default;
    // Reports an error on the standard output when the record still has more than one holder.
    ~DSResource() override;

    const NCTypeInfo& typeInfo() const override { return info; }
    uint32_t hash() const override { return 0; }
    int compare(const NCObject*) const override { return -1; }

    // Does nothing and is never called; keeps this operation's place in the virtual table.
    virtual void reserved() {}
    // For hash tables: equal records of one class have equal fingerprints, different ones hardly ever do.
    virtual uint64_t fingerprint() const { return hash(); }
};

namespace harbolance {

// The difference of two fields, by which the protocol orders them. It wraps around as a 32-bit word.
constexpr int difference(uint32_t a, uint32_t b) { return static_cast<int>(a - b); }

// Compares fields held by reference: 0 when both are null, 1 when exactly one is.
int compareRecords(const DSResource* a, const DSResource* b);
inline uint64_t fingerprintOf(const DSResource* record) { return record ? record->fingerprint() : 0; }
// The print form, "(nil)" for null.
void printRecord(NCostream& out, const DSResource* record);

} // namespace harbolance
