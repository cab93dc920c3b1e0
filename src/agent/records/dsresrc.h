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
    // Complains when somebody still counts on the record.
    ~DSResource() override;

    const NCTypeInfo& typeInfo() const override { return info; }
    uint32_t hash() const override { return 0; }
    int compare(const NCObject*) const override { return -1; }
    // For tables: equal records of one class have equal fingerprints, different ones hardly ever.
    virtual uint64_t fingerprint() const { return hash(); }
};

// Equality of fields that are held by reference: both null is equal, one null is not.
int dsCompare(const DSResource* a, const DSResource* b);

// The plain difference of two fields, as the protocol orders them; it wraps like the 32-bit word it is.
constexpr int dsDifference(int a, int b) {
    return static_cast<int>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

inline uint64_t dsFingerprint(const DSResource* object) { return object ? object->fingerprint() : 0; }

// The print form of a field that is held by reference.
void dsPrintOn(NCostream& out, const DSResource* object);
