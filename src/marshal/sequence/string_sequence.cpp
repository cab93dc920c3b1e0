#include "marshal/sequence/string_sequence.h"

#include "marshal/text/print_line.h"

#include <string>

using namespace harbolance;

namespace {

void print(TRXostream& text, const CORBA_StringSequence& sequence) {
    printLine(text, {"SEQUENCE NAME: CORBA_StringSequence"});
    printLine(text, {"NUM OF ELEMENTS: ", std::to_string(sequence.length())});
    for (CORBA_ULong i = 0; i < sequence.length(); ++i) {
        // Null when null strings are switched on.
        const char* element = sequence[i];
        printLine(text, {"ELEMENT NUM: ", std::to_string(i), " = ", element ? element : ""});
    }
}

} // namespace

CORBA_ULong CORBA_StringSequence::hash() const {
    CORBA_ULong hash = length();
    for (const char* element : *this)
        hash ^= CORBA_string_hash(element);
    return hash;
}

int harbolance::compare(const CORBA_StringSequence& a, const CORBA_StringSequence& b) {
    if (a.length() != b.length())
        return static_cast<int>(a.length() - b.length());
    for (CORBA_ULong i = 0; i < a.length(); ++i) {
        if (const int order = CORBA_string_compare(a[i], b[i]))
            return order;
    }
    return 0;
}

std::ostream& operator<<(std::ostream& stream, const CORBA_StringSequence& sequence) {
    TRXostream text(stream);
    if (isConsole(stream))
        print(text, sequence);
    else
        sequence._write(text);
    return stream;
}
