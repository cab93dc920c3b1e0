#include "agent/collections/dslnklst.h"

using namespace harbolance;

const NCTypeInfo DSLink::info("DSLink", ncCreate<DSLink>, {&DSResource::info});
const NCTypeInfo DSLinkedList::info("DSLinkedList", ncCreate<DSLinkedList>, {&DSCollection::info});

DSLink::DSLink(NCistream& in) : DSResource(in) { value_ = in.readRecord<DSResource>(); }

void DSLink::write(NCostream& out) const { out.writeRecord(value_.get()); }

void DSLink::printOn(NCostream& out) const { printRecord(out, value_.get()); }

int DSLink::compare(const NCObject* other) const {
    if (const auto* that = nc_cast<DSLink>(other))
        return compareRecords(value_.get(), that->value_.get());
    return value_ ? value_->compare(other) : -1;
}

DSLinkedList::DSLinkedList(NCistream& in) : DSCollection(in) {
    unsigned int count = 0;
    in.read(count);
    // After a failure there are no elements: `readElements` returns all or none.
    for (DSResource* value : readElements(in, count, DSResource::info))
        DSLinkedList::add(value);
}

// Inserts a value behind a link; with `before` null at the front.
DSResource* DSLinkedList::insertBehind(DSLink* before, DSResource* object) {
    auto* link = new DSLink(object);
    DSLink*& place = before ? before->next_ : first_;
    link->next_ = place;
    place = link;
    // True also for the first value, when `before` and `last_` are both null.
    if (before == last_)
        last_ = link;
    ++count_;
    return object;
}

int DSLinkedList::removeBehind(DSLink* before) {
    DSLink*& place = before ? before->next_ : first_;
    DSLink* gone = place;
    if (!gone)
        return 0;
    place = gone->next_;
    if (gone == last_)
        last_ = before;
    --count_;
    // Only the list holds a link, so this destroys it.
    NCResource::release(gone);
    return 1;
}

template <class Matches>
int DSLinkedList::removeWhere(Matches matches) {
    DSLink* before = nullptr;
    for (DSLink* link = first_; link; before = link, link = link->next_) {
        if (matches(link))
            // Returns at once, because the current link of the loop is destroyed.
            return removeBehind(before);
    }
    return 0;
}

DSResource* DSLinkedList::add(DSResource* object) { return insertBehind(last_, object); }

DSResource* DSLinkedList::addFirst(DSResource* object) { return insertBehind(nullptr, object); }

DSResource* DSLinkedList::addAfter(const DSResource* existing, DSResource* object) {
    for (DSLink* link = first_; link; link = link->next_) {
        if (link->value()->isEqual(existing))
            return insertBehind(link, object);
    }
    return nullptr;
}

int DSLinkedList::remove(const DSResource* object) {
    return removeWhere([&](const DSLink* link) { return link->value()->isEqual(object); });
}

int DSLinkedList::removeIdentical(const DSResource* object) {
    return removeWhere([&](const DSLink* link) { return link->value() == object; });
}

int DSLinkedList::removeFirst() { return removeBehind(nullptr); }

int DSLinkedList::removeLast() {
    return removeWhere([&](const DSLink* link) { return link == last_; });
}

void DSLinkedList::clear() {
    while (first_)
        removeBehind(nullptr);
}

int DSLinkedList::occurrencesOf(const DSResource* object) const {
    int count = 0;
    for (const DSLink* link = first_; link; link = link->next_)
        count += link->value()->isEqual(object) ? 1 : 0;
    return count;
}

void* DSLinkedList::next(Iterator& it) const {
    const auto* link = static_cast<const DSLink*>(it.current);
    // `current` stays on the last link, so that further calls return null and do not start again.
    if (link == last_ && link)
        return nullptr;
    it.current = link ? link->next_ : first_;
    if (it.current)
        ++it.position;
    return it.current;
}

DSResource* DSLinkedList::at(int index) const {
    const DSLink* link = index >= 0 ? first_ : nullptr;
    for (; link && index > 0; --index)
        link = link->next_;
    return link ? link->value() : nullptr;
}

void DSLinkedList::write(NCostream& out) const {
    out.write(count_);
    for (const DSLink* link = first_; link; link = link->next_)
        out.writeRecord(link->value());
}

int DSLinkedList::compare(const NCObject* other) const {
    const auto* that = nc_cast<DSLinkedList>(other);
    return that ? compareInOrder(*that) : -1;
}
