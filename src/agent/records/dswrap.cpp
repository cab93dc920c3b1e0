#include "agent/records/dswrap.h"

#include <cstring>

const NCTypeInfo DSWrapper::info("DSWrapper", ncCreate<DSWrapper>, {&DSResource::info});
const NCTypeInfo DSTrigWrapper::info("DSTrigWrapper", ncCreate<DSTrigWrapper>, {&DSResource::info});

namespace {

// The difference in units, cut to an int, but never 0 for different words.
int wordOrder(uintptr_t a, uintptr_t b, uintptr_t unit) {
    if (a == b)
        return 0;
    const auto order = static_cast<int>((a - b) / unit);
    return order != 0 ? order : 1;
}

} // namespace

DSWrapper::DSWrapper(NCistream& in) : DSResource(in) {
    // Read as a block, not as a number, because the word is sent in host order. A failed read leaves zeros.
    unsigned char octets[4] = {};
    in.read(octets, sizeof octets);
    uint32_t low = 0;
    std::memcpy(&low, octets, sizeof low);
    word_ = low;
}

void DSWrapper::write(NCostream& out) const {
    const auto low = static_cast<uint32_t>(word_);
    unsigned char octets[sizeof low];
    std::memcpy(octets, &low, sizeof low);
    out.write(octets, sizeof octets);
}

void DSWrapper::printOn(NCostream& out) const {
    out.write("OBJECT ADDRESS: ").write(static_cast<unsigned long>(word_));
}

int DSWrapper::compare(const NCObject* other) const {
    const auto* that = nc_cast<DSWrapper>(other);
    return that ? wordOrder(word_, that->word_, 1) : -1;
}

int DSTrigWrapper::compare(const NCObject* other) const {
    const auto* that = nc_cast<DSTrigWrapper>(other);
    if (!that)
        return -1;
    // A rule of the protocol: the difference of two pointers is counted in words of 4 octets.
    constexpr uintptr_t unit = 4;
    return wordOrder(reinterpret_cast<uintptr_t>(handler_), reinterpret_cast<uintptr_t>(that->handler_),
                     unit);
}
