#pragma once

#include "agent/records/record.h"

// The key of a record identifies it. Records of one class are equal when their keys are, and their order is
// that of the first different part of the keys.
namespace harbolance {

// Order, hash and fingerprint of the parts of a key.
constexpr int comparePart(std::integral auto a, std::integral auto b) {
    return difference(static_cast<uint32_t>(a), static_cast<uint32_t>(b));
}
inline int comparePart(in_addr a, in_addr b) { return difference(a.s_addr, b.s_addr); }
inline int comparePart(const NCObject& a, const NCObject& b) { return a.compare(&b); }
template <class T>
int comparePart(const NCRef<T>& a, const NCRef<T>& b) {
    return compareRecords(a.get(), b.get());
}

constexpr uint32_t hashPart(std::integral auto value) { return static_cast<uint32_t>(value); }
inline uint32_t hashPart(in_addr address) { return address.s_addr; }
inline uint32_t hashPart(const NCObject& member) { return member.hash(); }

inline uint64_t fingerprintPart(const NCString& text) { return stringFingerprint(text.text()); }
inline uint64_t fingerprintPart(const DSResource& member) { return member.fingerprint(); }
template <class T>
uint64_t fingerprintPart(const NCRef<T>& record) {
    return fingerprintOf(record.get());
}

// The fingerprint of a key. Mixing is the expensive step, so numbers are mixed two at a time.
class KeyFingerprint {
public:
    explicit KeyFingerprint(uint64_t base) : print_(base) {}

    void add(const std::integral auto& value) { addNumber(static_cast<uint32_t>(value)); }
    void add(const in_addr& address) { addNumber(address.s_addr); }
    // A text or a record, whose fingerprint is already mixed.
    void add(const auto& part) {
        const uint64_t mixed = fingerprintPart(part);
        // The first part needs no mixing, which is the fast path: most keys have one text and little else.
        print_ = print_ == 0 ? mixed : mixFingerprint(print_, mixed);
    }
    uint64_t value() const { return count_ == 0 ? print_ : mixFingerprint(print_, numbers_); }

private:
    void addNumber(uint32_t number) {
        // Two 32-bit numbers fill the 64 bits of one mixing.
        if (count_ == 2) {
            print_ = mixFingerprint(print_, numbers_);
            count_ = 0;
            numbers_ = 0;
        }
        ++count_;
        numbers_ = numbers_ << 32 | number;
    }

    uint64_t print_;
    uint64_t numbers_ = 0;
    int count_ = 0;
};

// A record with a key.
template <class Self, class Base = DSResource>
class KeyedRecord : public Record<Self, Base> {
public:
    using Record<Self, Base>::Record;

    uint32_t hash() const override {
        if constexpr (derived)
            return Base::hash();
        else
            // A rule of the protocol: the hashes of the parts, combined by xor.
            return std::apply([](const auto&... part) { return (hashPart(part) ^ ...); },
                              this->self().hashKey());
    }

    // The first different part decides. A record of another class compares as less.
    int compare(const NCObject* other) const override {
        const auto* that = nc_cast<Self>(other);
        if (!that)
            return -1;
        // The base's key is compared first, then what this class adds.
        if constexpr (derived) {
            if (const int order = Base::compare(other))
                return order;
        }
        return compareKeys(this->self().key(), that->key());
    }

    uint64_t fingerprint() const override {
        KeyFingerprint print(0);
        if constexpr (derived)
            print = KeyFingerprint(Base::fingerprint());
        std::apply([&](const auto&... part) { (print.add(part), ...); }, this->self().key());
        return print.value();
    }

    // Override in a class whose hash uses other fields than its comparison.
    auto hashKey() const { return this->self().key(); }

private:
    static constexpr bool derived = requires { Base::fields(); };

    template <class Key, size_t part = 0>
    static int compareKeys(const Key& a, const Key& b) {
        if constexpr (part == std::tuple_size_v<Key>) {
            return 0;
        } else {
            const int order = comparePart(std::get<part>(a), std::get<part>(b));
            return order != 0 ? order : compareKeys<Key, part + 1>(a, b);
        }
    }
};

} // namespace harbolance
