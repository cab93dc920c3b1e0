#pragma once

#include "marshal/sequence/sequence.h"

#include <iosfwd>

// An ordered list of texts, such as names and arguments.
class CORBA_StringSequence : public TRXSequence<char*, TRXStringElement> {
public:
    using TRXSequence::TRXSequence;

    CORBA_ULong hash() const;
};

using CORBA_StringSequence_var = TRXVar<CORBA_StringSequence>;

namespace harbolance {
// The difference of the lengths, or else the comparison of the first strings that differ, or 0.
int compare(const CORBA_StringSequence& a, const CORBA_StringSequence& b);
} // namespace harbolance

// Readable lines on cout, cerr and clog; length and strings in text form on any other stream.
std::ostream& operator<<(std::ostream& stream, const CORBA_StringSequence& sequence);
