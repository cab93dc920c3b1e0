#include "marshal/any/any_access.h"
#include "marshal/limits.h"
#include "marshal/text/print_line.h"
#include "marshal/typecode/kinds.h"
#include "marshal/typecode/typecode_access.h"
#include "marshal/typecode/typecode_coder.h"

using namespace harbolance;

namespace {

bool hasPassed(const TRXostream& stream, const CORBA_TypeCode* type) {
    try {
        stream.lookup_typecode(type);
        return true;
    } catch (const CORBA_Exception&) {
        return false;
    }
}

// When such a type occurs again only its id is printed, since the dump of a recursive type would never end.
bool endsInId(CORBA_TCKind kind) { return kind == tk_struct || kind == tk_union; }

// Other types are printed at each occurrence, which a peer can make grow exponentially. So the parameters of
// one dump are counted and limited.
class ParameterCount {
public:
    ParameterCount(const TRXostream& stream, CORBA_ULong parameters) {
        constexpr uint64_t most = 1u << 18;
        // The count starts again with each outermost type.
        if (stream.depth() == 0)
            _dumped = 0;
        _dumped += parameters;
        if (_dumped > most)
            throw CORBA_MARSHAL();
    }

private:
    static inline uint64_t _dumped = 0;
};

} // namespace

void CORBA_TypeCode::dump(TRXostream& stream, CORBA_TypeCode* type) {
    if (!type) {
        stream.write_raw("(nil)", 5);
        return;
    }
    // Tested before the type is stored below.
    const bool again = endsInId(type->_kind) && hasPassed(stream, type);
    if (*type->_id != '\0')
        printLine(stream, {"Repository id: ", type->_id});
    if (again)
        return;
    const CORBA_ULong count = type->param_count();
    const ParameterCount bounded(stream, count);
    const OwnNesting nesting;
    const StreamDepth depth(stream);
    // Stored before its parameters are printed, which may lead back to it.
    if (endsInId(type->_kind))
        rememberTypeCode(stream, type);
    const char* name = kindName(type->_kind);
    if (name)
        printLine(stream, {"CORBA::TCKind:", name});
    else
        // A number that is no kind has no name, and its line has no end.
        stream.write_raw("CORBA::TCKind:", 14);
    for (CORBA_ULong i = 0; i < count; ++i) {
        stream.write_raw("Parameter Number: ", 18);
        stream << i << std::endl;
        printAny(stream, *CORBA_Any_var(type->parameter(i)));
        stream << std::endl;
    }
}
