#pragma once

#include "marshal/exception/vexcept.h"
#include "marshal/text/vstream.h"

#include <algorithm>
#include <utility>

// Limits on nesting and memory. A peer chooses how deep values nest and how many elements a sequence
// announces, so every reader that can recurse holds one of these objects for each level.

namespace harbolance {

// One level of nesting. The level beyond the limit raises CORBA_MARSHAL, long before the stack ends.
class Nesting {
public:
    static constexpr int limitForPeers = 256; // of what is read from a peer
    static constexpr int limitForOwn = 1000;  // of what the program itself writes, prints and compares

    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;
    ~Nesting() { --_depth; }

protected:
    explicit Nesting(int limit) {
        // Before counting: a level that is refused has no destructor to count it back.
        if (_depth >= limit)
            throw CORBA_MARSHAL();
        ++_depth;
    }

    static inline int _readLimit = limitForPeers;

private:
    static inline int _depth = 0;
};

class ReadNesting : public Nesting {
public:
    ReadNesting() : Nesting(_readLimit) {}
};

class OwnNesting : public Nesting {
public:
    OwnNesting() : Nesting(limitForOwn) {}
};

// Scope in which the octets to be read are a value that this process holds already, not a peer's message.
class ReadingOwnOctets : Nesting {
public:
    ReadingOwnOctets() : Nesting(limitForOwn), _saved(std::exchange(_readLimit, limitForOwn)) {}
    ~ReadingOwnOctets() { _readLimit = _saved; }

private:
    int _saved;
};

// Permission to allocate memory for elements that have not been read yet. All sequences that are being read,
// one inside the other, share one budget: 32 KiB and 8 times the octets that are left. A sequence that is not
// granted grows with the elements that arrive.
class ReadAhead {
public:
    ReadAhead(const TRXistream& stream, uint64_t octets) {
        // What the sequences around this one were granted has not arrived yet either, so it counts as well.
        const uint64_t wanted = _taken + octets;
        const uint64_t needed = wanted > freeOctets ? (wanted - freeOctets) / octetsForEachLeft : 0;
        // Text does not know how much is left, so nothing is granted there.
        if (needed <= UINT32_MAX && !stream.stream() && stream.has(static_cast<CORBA_ULong>(needed)))
            _taken += _octets = octets;
    }
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;
    ~ReadAhead() { _taken -= _octets; }

    bool granted() const { return _octets > 0; }

private:
    static constexpr uint64_t freeOctets = uint64_t{32} * 1024;
    static constexpr uint64_t octetsForEachLeft = 8;

    static inline uint64_t _taken = 0;
    uint64_t _octets = 0;
};

} // namespace harbolance
