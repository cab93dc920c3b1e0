#pragma once

#include "base/refcount.h"
#include "base/string_hash.h"
#include "stream/ncobject.h"
#include "stream/ncstream.h"

// Base of every record that is counted and can be a member of a collection. New records have count 0, also
// when they come from a stream: the first holder takes the first reference.
class DSResource : public NCResource, public NCObject {
public:
    static const NCTypeInfo info;

    DSResource() = default;
    explicit DSResource(NCistream& in) : NCObject(in) { in.registerCounted(this); }
    DSResource(const DSResource&) = default;
    DSResource& operator=(const DSResource&) = default;
    // Prints a complaint when the record still has more than one holder.
    ~DSResource() override;

    const NCTypeInfo& typeInfo() const override { return info; }
    uint32_t hash() const override { return 0; }
    int compare(const NCObject*) const override { return -1; }

    // Does nothing and is never called here. It keeps the place that the operation has among the virtual
    // ones.
    virtual void reserved() {}
    // For tables: equal records of one class have equal fingerprints, different ones hardly ever.
    virtual uint64_t fingerprint() const { return hash(); }
};

namespace harbolance {

// The plain difference of two fields, as the protocol orders them; it wraps like the 32-bit word it is.
constexpr int difference(uint32_t a, uint32_t b) { return static_cast<int>(a - b); }

// Of fields that are held by reference: 0 when both are null, 1 when one is.
int compareRecords(const DSResource* a, const DSResource* b);
inline uint64_t fingerprintOf(const DSResource* record) { return record ? record->fingerprint() : 0; }
// The print form, "(nil)" for null.
void printRecord(NCostream& out, const DSResource* record);

} // namespace harbolance
