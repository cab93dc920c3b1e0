#include "marshal/sequence/octet_sequence.h"

#include "marshal/text/print_line.h"

#include <cstring>
#include <string>

using namespace harbolance;

namespace {

void print(TRXostream& text, const CORBA_OctetSequence& sequence) {
    printLine(text, {"SEQUENCE NAME: CORBA_OctetSequence"});
    printLine(text, {"NUM OF ELEMENTS: ", std::to_string(sequence.length())});
    for (CORBA_ULong i = 0; i < sequence.length(); ++i)
        printLine(text, {"ELEMENT NUM: ", std::to_string(i), " = ", std::to_string(sequence[i])});
}

} // namespace

CORBA_OctetSequence& CORBA_OctetSequence::operator=(const CORBA_OctetSequence& other) {
    if (this != &other)
        assign(other.octets());
    return *this;
}

// `octets` must not point into this sequence.
void CORBA_OctetSequence::assign(std::span<const CORBA_Octet> octets) {
    const auto count = static_cast<CORBA_ULong>(octets.size());
    fitToOverwrite(count);
    if (count > 0)
        std::memcpy(buffer(), octets.data(), count);
}

CORBA_ULong CORBA_OctetSequence::hash() const {
    CORBA_ULong hash = length();
    for (CORBA_Octet octet : octets())
        hash ^= octet;
    return hash;
}

[[gnu::hot]] int harbolance::compare(const CORBA_OctetSequence& a, const CORBA_OctetSequence& b) {
    if (a.length() != b.length())
        return static_cast<int>(a.length() - b.length());
    // memcmp must not be called with null pointers, which empty sequences may have.
    const int order = a.length() == 0 ? 0 : std::memcmp(a.buffer(), b.buffer(), a.length());
    return (order > 0) - (order < 0);
}

std::ostream& operator<<(std::ostream& stream, const CORBA_OctetSequence& sequence) {
    TRXostream text(stream);
    if (isConsole(stream))
        print(text, sequence);
    else
        sequence._write(text);
    return stream;
}
