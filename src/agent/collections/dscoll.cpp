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

// Depends on the order of the elements, as the comparison of two collections does, also of two sets.
uint64_t DSCollection::fingerprint() const {
    uint64_t print = size();
    for (const DSResource* element : *this)
        print = mixFingerprint(print, mixFingerprint(element->fingerprint(), element->hash()));
    return print;
}

std::vector<DSResource*> DSCollection::readElements(NCistream& in, uint32_t count, const NCTypeInfo& type) {
    constexpr size_t mostReserved = 4096; // at every level of nesting, before any element has been read
    constexpr size_t smallestElement = 8; // a reference: tag and id
    std::vector<DSResource*> elements;
    // A count that the octets cannot hold is refused before memory is taken for it.
    if (in.failed() || count > in.remaining() / smallestElement) {
        in.setFailed();
        return elements;
    }
    // The text form does not know what is left, so that its count has not been checked against anything.
    if (in.remaining() != std::numeric_limits<size_t>::max())
        elements.reserve(std::min<size_t>(count, mostReserved));
    for (uint32_t i = 0; i < count; ++i) {
        // One of a wrong class has been built by then: the stream destroys it with the message.
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
    // Sizes first: with equal ones neither walk ends before the other.
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
