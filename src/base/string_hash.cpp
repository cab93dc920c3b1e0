#include "base/string_hash.h"

#include <cstring>
#include <ctime>
#include <sys/random.h>

namespace harbolance {

namespace {

struct Key {
    uint64_t words[2];
};

// Called once. A process that gets no random octets still has a key of its own.
Key drawKey() {
    Key key{};
    // Does not wait: early after boot the system may have no random octets for a long time.
    if (::getrandom(&key, sizeof key, GRND_NONBLOCK) != static_cast<ssize_t>(sizeof key)) {
        // The address and the time since boot differ between processes, and a peer cannot see them.
        timespec now{};
        ::clock_gettime(CLOCK_MONOTONIC, &now);
        key.words[0] = reinterpret_cast<uintptr_t>(&key) ^ static_cast<uint64_t>(now.tv_nsec);
        key.words[1] = static_cast<uint64_t>(now.tv_sec) * 0x9E3779B97F4A7C15u;
    }
    return key;
}

const Key& processKey() {
    static const Key key = drawKey();
    return key;
}

constexpr uint64_t rotated(uint64_t word, int bits) { return (word << bits) | (word >> (64 - bits)); }

// A keyed hash of additions, rotations and exclusive ors, for short inputs. Collisions cannot be constructed
// without the key.
class KeyedHash {
public:
    explicit KeyedHash(const Key& key)
        : v0_(key.words[0] ^ 0x736F6D6570736575u), v1_(key.words[1] ^ 0x646F72616E646F6Du),
          v2_(key.words[0] ^ 0x6C7967656E657261u), v3_(key.words[1] ^ 0x7465646279746573u) {}

    void add(uint64_t word) {
        v3_ ^= word;
        round();
        v0_ ^= word;
    }

    uint64_t result() {
        // Marks the end of the input, so that no intermediate state of a longer input equals a result.
        v2_ ^= 0xFF;
        for (int i = 0; i < 3; ++i)
            round();
        return v0_ ^ v1_ ^ v2_ ^ v3_;
    }

private:
    void round() {
        v0_ += v1_;
        v1_ = rotated(v1_, 13) ^ v0_;
        v0_ = rotated(v0_, 32);
        v2_ += v3_;
        v3_ = rotated(v3_, 16) ^ v2_;
        v0_ += v3_;
        v3_ = rotated(v3_, 21) ^ v0_;
        v2_ += v1_;
        v1_ = rotated(v1_, 17) ^ v2_;
        v2_ = rotated(v2_, 32);
    }

    uint64_t v0_, v1_, v2_, v3_;
};

} // namespace

uint64_t stringFingerprint(std::string_view text) {
    KeyedHash hash(processKey());
    while (text.size() >= sizeof(uint64_t)) {
        uint64_t word = 0;
        // Copied, since the text need not be aligned. The byte order does not matter, as the value never
        // leaves the process.
        std::memcpy(&word, text.data(), sizeof word);
        hash.add(word);
        text.remove_prefix(sizeof word);
    }
    // The last word holds the rest and its length, so that texts which end in NULs differ.
    uint64_t last = 0;
    std::memcpy(&last, text.data(), text.size());
    hash.add(last | static_cast<uint64_t>(text.size()) << 56);
    return hash.result();
}

uint64_t mixFingerprint(uint64_t seed, uint64_t part) {
    KeyedHash hash(processKey());
    hash.add(seed);
    hash.add(part);
    return hash.result();
}

} // namespace harbolance
