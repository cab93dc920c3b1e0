// The input is text: strings in their text form, a string for a buffer of limited size, and an Any.

#include "fuzzing.h"

#include "marshal/any/any_access.h"
#include "marshal/text/vstr.h"
#include "marshal/text/vstream.h"

#include <cstring>
#include <sstream>
#include <string>

using namespace harbolance;

namespace {

void checkString(const CORBA_String_var& text) {
    std::stringstream form;
    TRXostream out(form);
    out << text.in();
    TRXistream in(form);
    CORBA_String_var again;
    in >> again;
    require(CORBA_string_compare(text.in(), again.in()) == 0, "a string survives its text form");
}

void readStrings(const std::string& input) {
    std::istringstream text(input);
    TRXistream in(text);
    for (int i = 0; i < 16 && text; ++i) {
        CORBA_String_var string;
        in >> string;
        if (text)
            checkString(string);
    }
}

void readIntoBuffer(const std::string& input) {
    std::istringstream text(input);
    TRXistream in(text);
    char buffer[24];
    std::memset(buffer, 'x', sizeof buffer);
    in.getCString(buffer, sizeof buffer - 8);
    require(std::string_view(buffer + sizeof buffer - 8, 8) == "xxxxxxxx", "a buffer keeps its bounds");
}

void readAny(const std::string& input) {
    std::istringstream text(input);
    TRXistream in(text);
    CORBA_Any any;
    try {
        in >> any;
    } catch (const CORBA_SystemException&) {
        // neither a type nor a value of it
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    silenceComplaints();
    TypeCodeAccess::startUp();
    const std::string input(reinterpret_cast<const char*>(data), size);
    readStrings(input);
    readIntoBuffer(input);
    readAny(input);
    return 0;
}
