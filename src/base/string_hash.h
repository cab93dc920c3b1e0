#pragma once

#include <cstdint>
#include <string_view>

namespace harbolance {

// The string hash of the protocol: every table that is keyed by text starts its probe from it, so that the
// order of such a table is the same in every process. Octets count as signed; the empty string gives 0.
//
// It is weak: neighbouring characters are shifted by one bit only, so names that differ in their last digits
// share few values. `stringFingerprint` tells such names apart; its value never leaves the process.
constexpr uint32_t stringHash(std::string_view text) {
    uint32_t hash = 0;
    for (char c : text)
        hash = (hash * 2) ^ static_cast<uint32_t>(static_cast<signed char>(c));
    return hash & 0x7fffffff;
}

uint64_t stringFingerprint(std::string_view text);

// Mixes one more part into a fingerprint; equal parts in equal order give equal results. Both fingerprint
// functions depend on a random key of the process, so that a peer cannot construct collisions.
uint64_t mixFingerprint(uint64_t seed, uint64_t part);

// A pointer as a table key: its 64 bits folded to the 32 that the slot formula takes.
inline uint32_t pointerHash(const void* pointer) {
    const auto bits = reinterpret_cast<uintptr_t>(pointer);
    return static_cast<uint32_t>(bits) ^ static_cast<uint32_t>(static_cast<uint64_t>(bits) >> 32);
}

} // namespace harbolance
