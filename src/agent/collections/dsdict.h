#pragma once

#include "agent/collections/dsset.h"
#include "agent/records/record.h"

// A key and its value; it holds both. Its hash and comparison are those of the key, so a key finds it in a
// table.
class DSAssoc : public harbolance::Record<DSAssoc> {
public:
    static const NCTypeInfo info;

    DSAssoc(DSResource* key, DSResource* value) : key_(key), value_(value) {}
    explicit DSAssoc(NCistream& in);

    DSResource* key() const { return key_.get(); }
    DSResource* value() const { return value_.get(); }

    uint32_t hash() const override { return key_ ? key_->hash() : 0; }
    int compare(const NCObject* other) const override;
    bool isEqual(const NCObject* other) const override;
    uint64_t fingerprint() const override { return harbolance::fingerprintOf(key_.get()); }

    static constexpr const char* title = "\nClassName: DSAssoc\n";
    static constexpr auto fields() {
        using namespace harbolance;
        return std::tuple{printed(&DSAssoc::key_, "Key: "), printed(&DSAssoc::value_, "Value: ")};
    }

private:
    NCRef<DSResource> key_; // null only in an association from a malformed message
    NCRef<DSResource> value_;
};

// A set of associations. Only elements of exactly the class DSAssoc can be added or removed.
class DSDictionary : public DSSet {
public:
    static const NCTypeInfo info;

    explicit DSDictionary(uint32_t sizeArgument = 16) : DSSet(sizeArgument) {}
    explicit DSDictionary(NCistream& in) : DSSet(in, DSAssoc::info) {}
    DSDictionary(const DSDictionary&) = default;

    DSResource* add(DSResource* object) override;
    int remove(const DSResource* object) override;
    // The number of values that are equal to `object`.
    int includes(const DSResource* object) const override;
    using DSSet::at;

    // Returns the new association; null when the key is there already, whose value is then kept.
    virtual DSAssoc* put(DSResource* key, DSResource* value);
    virtual DSAssoc* findAssoc(const DSResource* key) const;
    virtual int includesKey(const DSResource* key) const { return findAssoc(key) != nullptr; }
    virtual int removeKey(const DSResource* key);
    virtual int removeAssoc(const DSResource* assoc) { return remove(assoc); }
    // The value of the key, or null.
    virtual DSResource* at(const DSResource* key) const;

    const NCTypeInfo& typeInfo() const override { return info; }
    int compare(const NCObject* other) const override;
    uint64_t fingerprint() const override;
};
