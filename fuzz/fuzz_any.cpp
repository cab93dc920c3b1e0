// The first octet of the input says the byte order; an Any follows.

#include "fuzzing.h"
#include "marshal_input.h"

#include "marshal/any/any_access.h"

#include <sstream>

using namespace harbolance;

namespace {

bool equal(const CORBA_Any& a, const CORBA_Any& b) {
    try {
        return a == b;
    } catch (const CORBA_MARSHAL&) {
        return true; // nested deeper than what is compared
    }
}

void checkWire(const CORBA_Any& any) {
    CORBA_MarshalOutBuffer out(255);
    out << any;
    CORBA_MarshalInBuffer in(out.data(), out.offset());
    CORBA_Any again;
    in >> again;
    require(in.offset() == out.offset(), "an Any is read to its end");
    any.write_members(out);
    require(equal(any, again), "an Any survives its wire form");
}

void checkCopy(const CORBA_Any& any) {
    try {
        const CORBA_Any copy(any);
        require(equal(any, copy), "a copy equals the original");
        require(any.hash() == copy.hash(), "a copy has the original's hash");
    } catch (const CORBA_INTERNAL&) {
        // a kind that has no values
    }
}

void checkPrint(const CORBA_Any& any) {
    std::ostringstream text;
    TRXostream stream(text);
    try {
        printAny(stream, any);
    } catch (const CORBA_SystemException&) {
        // nested too deep
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    MarshalInput input(data, size);
    CORBA_Any any;
    try {
        input.in() >> any;
    } catch (const CORBA_SystemException&) {
        inputRefused = true;
        return 0;
    }
    checkWire(any);
    checkCopy(any);
    checkPrint(any);
    return 0;
}
