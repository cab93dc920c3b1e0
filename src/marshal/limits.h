#pragma once

#include "marshal/exception/vexcept.h"
#include "marshal/text/vstream.h"

#include <algorithm>
#include <utility>

// Limits on nesting and memory. A peer chooses how deep values nest and which length a sequence claims, so
// every reader that can recurse has an object of one of these classes per level.

namespace harbolance {

// One level of nesting. A level beyond the limit raises CORBA_MARSHAL, long before the stack overflows.
class Nesting {
public:
    static constexpr int limitForPeers = 256; // for values read from a peer
    static constexpr int limitForOwn = 1000;  // for values that the program writes, prints or compares

    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;
    ~Nesting() { --_depth; }

protected:
    explicit Nesting(int limit) {
        // Tested before counting, because a refused level has no destructor that would count it down.
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

// Scope in which values are read from octets of this process, not from a peer's message.
class ReadingOwnOctets : Nesting {
public:
    ReadingOwnOctets() : Nesting(limitForOwn), _saved(std::exchange(_readLimit, limitForOwn)) {}
    ~ReadingOwnOctets() { _readLimit = _saved; }

private:
    int _saved;
};

// Permission to allocate memory for elements that have not been read yet. All sequences being read, one
// inside the other, share one budget: 32 KiB plus 8 times the octets left. Without permission a sequence
// grows as elements arrive.
class ReadAhead {
public:
    ReadAhead(const TRXistream& stream, uint64_t octets) {
        // The elements granted to the enclosing sequences have not arrived yet either, so they count as well.
        const uint64_t wanted = _taken + octets;
        const uint64_t needed = wanted > freeOctets ? (wanted - freeOctets) / octetsForEachLeft : 0;
        // A text stream cannot tell how much is left, so it is granted nothing.
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
