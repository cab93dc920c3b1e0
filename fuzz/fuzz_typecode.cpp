// The first octet of the input says the byte order and whether TypeCodes are flat; a TypeCode follows.

#include "fuzzing.h"
#include "marshal_input.h"

#include "marshal/cdr/vbuf.h"
#include "marshal/marshal_settings.h"
#include "marshal/typecode/typecode.h"

#include <cstring>
#include <sstream>

namespace {

CORBA_TypeCode_var read(CORBA_MarshalInBuffer& in) {
    CORBA_TypeCode_var type;
    in >> type.inout();
    return type;
}

void check(CORBA_TypeCode* type) {
    CORBA_MarshalOutBuffer out(255);
    out << type;
    CORBA_MarshalInBuffer in(out.data(), out.offset());
    const CORBA_TypeCode_var again = read(in);
    require(type->equal(again), "a TypeCode survives its wire form");
    CORBA_MarshalOutBuffer once(255);
    once << again.in();
    require(once.offset() == out.offset() && std::memcmp(once.data(), out.data(), out.offset()) == 0,
            "a TypeCode that was read is written as it was");
}

void checkDump(CORBA_TypeCode* type) {
    std::ostringstream text;
    TRXostream stream(text);
    CORBA_TypeCode::dump(stream, type);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    MarshalInput input(data, size);
    harbolance::marshalSettings.backDII = input.flag(2);
    CORBA_TypeCode_var type;
    try {
        type = read(input.in());
    } catch (const CORBA_SystemException&) {
        inputRefused = true;
        return 0;
    }
    for (auto* use : {check, checkDump}) {
        try {
            use(type);
        } catch (const CORBA_MARSHAL&) {
            // Indirections may make a type deeper than what is written or compared, or larger than a dump.
        }
    }
    return 0;
}
