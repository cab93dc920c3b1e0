#include "agent/collections/dscoll.h"

#include <algorithm>

using namespace harbolance;

const NCTypeInfo DSCollection::info("DSCollection", nullptr, {&DSResource::info});

void DSCollection::printOn(NCostream& out) const {
    out.write("Collection size: ").write(size()).write("\n");
    for (const DSResource* element : *this)
        element->printOn(out);
    out.write("\n");
}

uint32_t DSCollection::hash() const {
    uint32_t hash = size();
    for (const DSResource* element : *this)
        hash ^= element->hash();
    return hash;
}

// Depends on the order of the elements, because collections, including sets, are compared in that order.
uint64_t DSCollection::fingerprint() const {
    uint64_t print = size();
    for (const DSResource* element : *this)
        print = mixFingerprint(print, mixFingerprint(element->fingerprint(), element->hash()));
    return print;
}

std::vector<DSResource*> DSCollection::readElements(NCistream& in, uint32_t count, const NCTypeInfo& type) {
    constexpr size_t mostReserved = 4096; // applies at every level of nesting, before any element is read
    constexpr size_t smallestElement = 8; // a reference: tag and id
    std::vector<DSResource*> elements;
    // A count larger than the octets left can hold is refused before memory is allocated for it.
    if (in.failed() || count > in.remaining() / smallestElement) {
        in.setFailed();
        return elements;
    }
    // The text form does not know how much is left, so there the count is unchecked and nothing is reserved.
    if (in.remaining() != std::numeric_limits<size_t>::max())
        elements.reserve(std::min<size_t>(count, mostReserved));
    for (uint32_t i = 0; i < count; ++i) {
        // An element of a wrong class has already been made; the stream destroys it with the message.
        auto* element = in.readRecord<DSResource>();
        if (!element || !element->typeInfo().isSameOrDerived(type)) {
            in.setFailed();
            elements.clear();
            break;
        }
        elements.push_back(element);
    }
    return elements;
}

int DSCollection::compareInOrder(const DSCollection& other) const {
    // Sizes are compared first, so that both iterations below end together.
    if (const int order = difference(size(), other.size()))
        return order;
    Walk theirs = other.begin();
    for (const DSResource* element : *this) {
        if (const int order = element->compare(*theirs))
            return order;
        ++theirs;
    }
    return 0;
}
