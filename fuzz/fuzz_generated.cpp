// The first octet of the input chooses the type and the byte order; a value of a generated type follows.

#include "fuzzing.h"
#include "hostile_stub.h"
#include "marshal_input.h"
#include "orb/vorb.h"

#include <sstream>

using namespace Hostile;

namespace {

template <class T>
std::string written(const T& value) {
    CORBA_MarshalOutBuffer out(255);
    out << value;
    return {out.data(), out.offset()};
}

template <class T>
void checkAny(const T& value, CORBA_TypeCode* type) {
    CORBA_Any any;
    any <<= value;
    T again;
    require(any >>= again, "what goes into an Any comes out");
    require(written(again) == written(value), "and is the same");
    std::ostringstream text;
    CORBA_MarshalOutBuffer out(255);
    out << value;
    CORBA_MarshalInBuffer in(out.data(), out.offset());
    harbolance::printValue(text, type, in);
}

template <class T>
void check(CORBA_MarshalInBuffer& in, CORBA_TypeCode* type) {
    T value;
    try {
        in >> value;
    } catch (const CORBA_SystemException&) {
        return;
    }
    std::string octets;
    try {
        octets = written(value);
        CORBA_MarshalInBuffer own(octets.data(), static_cast<CORBA_ULong>(octets.size()));
        T again;
        own >> again;
        require(written(again) == octets, "a value survives its wire form");
        require(own.offset() == octets.size(), "and is read to its end");
        checkAny(value, type);
    } catch (const CORBA_SystemException&) {
        // nested deeper than one of the ways allows, or a reference or type that cannot be written
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    MarshalInput input(data, size);
    switch (*data >> 1 & 3) {
    case 0: check<Tree>(input.in(), _tc_Tree); break;
    case 1: check<Choice>(input.in(), _tc_Choice); break;
    case 2: check<Mixed>(input.in(), _tc_Mixed); break;
    default: check<Failed>(input.in(), _tc_Failed);
    }
    return 0;
}
