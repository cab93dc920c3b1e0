// The first octet of the input says the byte order and what follows: the body of a reply that carries an
// exception, or a TypeCode and the members of the exception that it describes.

#include "fuzzing.h"
#include "marshal_input.h"

#include "marshal/any/any_access.h"
#include "marshal/any/unknown_user_exception.h"

#include <memory>

using namespace harbolance;

namespace {

std::unique_ptr<CORBA_Exception> read(CORBA_MarshalInBuffer& in) {
    CORBA_Exception* exception = nullptr;
    in >> exception;
    return std::unique_ptr<CORBA_Exception>(exception);
}

void checkKnown(CORBA_MarshalInBuffer& in) {
    const auto exception = read(in);
    CORBA_MarshalOutBuffer out(255);
    out << *exception;
    CORBA_MarshalInBuffer written(out.data(), out.offset());
    const auto again = read(written);
    require(again->_desc() == exception->_desc() || !exception->_desc()->factory() ||
                CORBA_UnknownUserException::_narrow(exception.get()),
            "an exception keeps its class");
}

void checkUnknown(CORBA_MarshalInBuffer& in) {
    CORBA_TypeCode* type = nullptr;
    in >> type;
    const CORBA_TypeCode_var holder(type);
    CORBA_Any members;
    members.read_value(in, type);
    const CORBA_UnknownUserException exception(members);
    CORBA_MarshalOutBuffer out(255);
    out << exception;
    CORBA_MarshalInBuffer written(out.data(), out.offset());
    CORBA_String_var id;
    written >> id;
    CORBA_Any again;
    again.read_value(written, type);
    require(AnyAccess::compareValues(members, again) == 0, "an exception keeps its members");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    MarshalInput input(data, size);
    try {
        if (input.flag(2))
            checkUnknown(input.in());
        else
            checkKnown(input.in());
    } catch (const CORBA_SystemException&) {
        inputRefused = true;
    }
    return 0;
}
