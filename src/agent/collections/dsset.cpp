#include "agent/collections/dsset.h"

using namespace harbolance;

const NCTypeInfo DSSet::info("DSSet", ncCreate<DSSet>, {&DSCollection::info});

DSSet::DSSet(NCistream& in, const NCTypeInfo& elementType) : DSCollection(in), table_(0) {
    unsigned int capacity = 0; // of the writer's table; this table is sized by the count
    unsigned int count = 0;
    in.read(capacity).read(count);
    const auto elements = readElements(in, count, elementType);
    if (in.failed())
        return;
    // Sized for the count, which `readElements` has checked, and not for the capacity, which the peer may
    // have invented.
    table_.resize(count);
    for (DSResource* element : elements)
        DSSet::add(element);
}

DSSet::DSSet(const DSSet& other) : DSCollection(other), table_(other.size()) {
    for (DSResource* element : other)
        DSSet::add(element);
}

DSResource* DSSet::add(DSResource* object) {
    // A single search is used for the test and for the insertion.
    const uint32_t index = table_.indexOf(object);
    if (const auto& held = table_.slot(index))
        return held.get();
    return table_.insertAt(index, object).entry->get();
}

int DSSet::remove(const DSResource* object) { return table_.take(object) ? 1 : 0; }

void* DSSet::next(Iterator& it) const {
    const uint32_t index = table_.next(it.position);
    // The position stays at the end, so that a further call returns null again.
    if (index >= table_.capacity()) {
        it.position = index;
        return nullptr;
    }
    it.position = index + 1;
    return table_.slot(index).get();
}

DSResource* DSSet::find(const DSResource* object) const {
    const auto* found = table_.find(object);
    return found ? found->get() : nullptr;
}

void DSSet::addAll(const DSCollection& other) {
    clear();
    for (DSResource* element : other)
        add(element);
}

NCRef<DSSet> DSSet::unionOf(const DSSet& a, const DSSet& b) {
    NCRef<DSSet> result = new DSSet(a.capacity() + b.capacity());
    for (const DSSet* set : {&a, &b}) {
        for (DSResource* element : *set)
            result->add(element);
    }
    return result;
}

namespace {

NCRef<DSSet> selected(const DSSet& from, const DSSet& other, bool included) {
    NCRef<DSSet> result = new DSSet(from.capacity());
    for (DSResource* element : from) {
        if ((other.includes(element) != 0) == included)
            result->add(element);
    }
    return result;
}

} // namespace

NCRef<DSSet> DSSet::intersectionOf(const DSSet& a, const DSSet& b) { return selected(a, b, true); }

NCRef<DSSet> DSSet::differenceOf(const DSSet& a, const DSSet& b) { return selected(a, b, false); }

void DSSet::write(NCostream& out) const {
    out.write(capacity()).write(size());
    for (uint32_t i = table_.next(0); i < table_.capacity(); i = table_.next(i + 1))
        out.writeRecord(table_.slot(i).get());
}

int DSSet::compare(const NCObject* other) const {
    const auto* that = nc_cast<DSSet>(other);
    if (!that)
        return -1;
    if (const int order = difference(size(), that->size()))
        return order;
    for (uint32_t i = table_.next(0); i < table_.capacity(); i = table_.next(i + 1)) {
        // Compared slot by slot, as the protocol demands: sets with equal elements in different slots differ.
        const DSResource* theirs = i < that->capacity() ? that->table_.slot(i).get() : nullptr;
        if (const int order = compareRecords(table_.slot(i).get(), theirs))
            return order;
    }
    return 0;
}
