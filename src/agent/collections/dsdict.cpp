#include "agent/collections/dsdict.h"

using namespace harbolance;

const NCTypeInfo DSAssoc::info("DSAssoc", ncCreate<DSAssoc>, {&DSResource::info});
const NCTypeInfo DSDictionary::info("DSDictionary", ncCreate<DSDictionary>, {&DSSet::info});

DSAssoc::DSAssoc(NCistream& in) : Record(in) {
    readFields(in);
    // Tables call the key's hash, so no association with a null key may be entered.
    if (!key_)
        in.setFailed();
}

// Asks the other object, whatever its class: a plain key compares itself, an association compares its key. So
// both kinds of object can be used for a search.
int DSAssoc::compare(const NCObject* other) const { return other ? other->compare(key_.get()) : -1; }

bool DSAssoc::isEqual(const NCObject* other) const { return other && other->isEqual(key_.get()); }

DSResource* DSDictionary::add(DSResource* object) {
    // Accepts exactly this class, because the loops here cast elements without a check.
    return object && object->typeInfo() == DSAssoc::info ? DSSet::add(object) : nullptr;
}

int DSDictionary::remove(const DSResource* object) {
    return object && object->typeInfo() == DSAssoc::info ? DSSet::remove(object) : 0;
}

int DSDictionary::includes(const DSResource* object) const {
    int count = 0;
    for (const DSResource* element : *this) {
        const DSResource* value = static_cast<const DSAssoc*>(element)->value();
        count += value && value->isEqual(object) ? 1 : 0;
    }
    return count;
}

DSAssoc* DSDictionary::put(DSResource* key, DSResource* value) {
    // Held here, so that the new association is destroyed on return when the key is there already.
    const NCRef<DSAssoc> assoc = new DSAssoc(key, value);
    return DSSet::add(assoc.get()) == assoc.get() ? assoc.get() : nullptr;
}

DSAssoc* DSDictionary::findAssoc(const DSResource* key) const { return static_cast<DSAssoc*>(find(key)); }

int DSDictionary::removeKey(const DSResource* key) { return DSSet::remove(key); }

DSResource* DSDictionary::at(const DSResource* key) const {
    const DSAssoc* assoc = findAssoc(key);
    return assoc ? assoc->value() : nullptr;
}

int DSDictionary::compare(const NCObject* other) const {
    const auto* that = nc_cast<DSDictionary>(other);
    if (!that)
        return -1;
    if (const int order = difference(size(), that->size()))
        return order;
    Walk theirs = that->begin();
    for (const DSResource* element : *this) {
        const auto* mine = static_cast<const DSAssoc*>(element);
        // Both iterations advance together; the sizes are equal, so `theirs` is not at its end.
        const auto* yours = static_cast<const DSAssoc*>(*theirs);
        const bool sameValue = mine->value() ? mine->value()->isEqual(yours->value()) : !yours->value();
        if (!mine->key()->isEqual(yours->key()) || !sameValue)
            return 1;
        ++theirs;
    }
    return 0;
}

uint64_t DSDictionary::fingerprint() const {
    uint64_t print = size();
    for (const DSResource* element : *this) {
        print = mixFingerprint(print, element->fingerprint());
        print = mixFingerprint(print, fingerprintOf(static_cast<const DSAssoc*>(element)->value()));
    }
    return print;
}
