#pragma once

#include "marshal/sequence/sequence.h"

#include <iosfwd>
#include <span>

// The octets of keys, principals and encapsulations. Free-listed, because each received request uses two.
class CORBA_OctetSequence : public TRXSequence<CORBA_Octet> {
public:
    using TRXSequence::TRXSequence;
    CORBA_OctetSequence() = default;
    // Copies the octets.
    explicit CORBA_OctetSequence(std::span<const CORBA_Octet> octets) { assign(octets); }
    CORBA_OctetSequence(const CORBA_OctetSequence&) = default;
    CORBA_OctetSequence(CORBA_OctetSequence&&) = default;
    // Keeps the present buffer when it is large enough.
    CORBA_OctetSequence& operator=(const CORBA_OctetSequence& other);
    CORBA_OctetSequence& operator=(CORBA_OctetSequence&&) = default;

    void assign(std::span<const CORBA_Octet> octets);
    std::span<const CORBA_Octet> octets() const { return {buffer(), length()}; }

    CORBA_ULong hash() const;
};

using CORBA_OctetSequence_var = TRXVar<CORBA_OctetSequence>;

namespace harbolance {
// The difference of the lengths, or if they are equal -1, 0 or 1 by the first different octets.
int compare(const CORBA_OctetSequence& a, const CORBA_OctetSequence& b);
} // namespace harbolance

inline bool operator==(const CORBA_OctetSequence& a, const CORBA_OctetSequence& b) {
    return harbolance::compare(a, b) == 0;
}

// Readable lines on cout, cerr and clog; length and octets in text form on any other stream.
std::ostream& operator<<(std::ostream& stream, const CORBA_OctetSequence& sequence);
