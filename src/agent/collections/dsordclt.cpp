#include "agent/collections/dsordclt.h"

#include <algorithm>
#include <limits>

const NCTypeInfo DSOrderedCltn::info("DSOrderedCltn", ncCreate<DSOrderedCltn>, {&DSCollection::info});

DSOrderedCltn::DSOrderedCltn(NCistream& in) : DSCollection(in), capacity_(1) {
    unsigned int capacity = 0;
    unsigned int count = 0;
    in.read(capacity).read(count);
    // A writer never has more elements than its capacity, so such a message is malformed.
    if (count > capacity)
        in.setFailed();
    const auto elements = readElements(in, count, DSResource::info);
    if (in.failed())
        return;
    // The capacity is only kept to be written again; memory is allocated for the elements. It is at least 1,
    // because it grows by doubling.
    capacity_ = std::max(capacity, 1u);
    items_.assign(elements.begin(), elements.end());
}

DSResource* DSOrderedCltn::insert(size_t index, DSResource* object) {
    if (items_.size() >= capacity_)
        // A peer may have sent a capacity so large that doubling would overflow.
        capacity_ = capacity_ <= std::numeric_limits<uint32_t>::max() / 2 ? 2 * capacity_ : capacity_;
    items_.insert(items_.begin() + static_cast<std::ptrdiff_t>(index), object);
    return object;
}

DSResource* DSOrderedCltn::add(DSResource* object) { return insert(items_.size(), object); }

DSResource* DSOrderedCltn::addFirst(DSResource* object) { return insert(0, object); }

DSResource* DSOrderedCltn::addAfter(const DSResource* existing, DSResource* object) {
    const int index = indexOf(existing);
    return index < 0 ? nullptr : insert(static_cast<size_t>(index) + 1, object);
}

DSResource* DSOrderedCltn::addBefore(const DSResource* existing, DSResource* object) {
    const int index = indexOf(existing);
    return index < 0 ? nullptr : insert(static_cast<size_t>(index), object);
}

int DSOrderedCltn::remove(const DSResource* object) { return removeAt(indexOf(object)); }

int DSOrderedCltn::removeIdentical(const DSResource* object) {
    const auto found = std::find_if(items_.begin(), items_.end(),
                                    [&](const NCRef<DSResource>& item) { return item.get() == object; });
    return removeAt(found == items_.end() ? -1 : static_cast<int>(found - items_.begin()));
}

int DSOrderedCltn::removeAt(int index) {
    if (!at(index))
        return 0;
    items_.erase(items_.begin() + index);
    return 1;
}

int DSOrderedCltn::includes(const DSResource* object) const {
    return static_cast<int>(std::count_if(
        items_.begin(), items_.end(), [&](const NCRef<DSResource>& item) { return item->isEqual(object); }));
}

void* DSOrderedCltn::next(harbolance::Iterator& it) const {
    return it.position < items_.size() ? items_[it.position++].get() : nullptr;
}

DSResource* DSOrderedCltn::at(int index) const {
    return index >= 0 && static_cast<size_t>(index) < items_.size() ? items_[static_cast<size_t>(index)].get()
                                                                    : nullptr;
}

int DSOrderedCltn::indexOf(const DSResource* object) const {
    const auto found = std::find_if(items_.begin(), items_.end(),
                                    [&](const NCRef<DSResource>& item) { return item->isEqual(object); });
    return found == items_.end() ? -1 : static_cast<int>(found - items_.begin());
}

void DSOrderedCltn::write(NCostream& out) const {
    out.write(capacity_).write(size());
    for (const auto& item : items_)
        out.writeRecord(item.get());
}

int DSOrderedCltn::compare(const NCObject* other) const {
    const auto* that = nc_cast<DSOrderedCltn>(other);
    return that ? compareInOrder(*that) : -1;
}
