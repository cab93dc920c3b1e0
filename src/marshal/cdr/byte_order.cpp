#include "marshal/cdr/byte_order.h"

using namespace harbolance;

namespace {

// Uses memcpy, because neither side need be aligned; the compiler vectorises the loop.
template <class Word>
void copyWords(char* __restrict target, const char* __restrict source, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        Word word;
        std::memcpy(&word, source + i * sizeof word, sizeof word);
        word = reversed(word);
        std::memcpy(target + i * sizeof word, &word, sizeof word);
    }
}

} // namespace

void harbolance::copyReversed(void* target, const void* source, size_t count, size_t size) {
    auto* to = static_cast<char*>(target);
    const auto* from = static_cast<const char*>(source);
    switch (size) {
    case 2: copyWords<uint16_t>(to, from, count); break;
    case 4: copyWords<uint32_t>(to, from, count); break;
    case 8: copyWords<uint64_t>(to, from, count); break;
    default: std::memcpy(to, from, count * size); break;
    }
}
