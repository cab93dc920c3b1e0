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

// One that comes again ends in its id, or the dump of a recursive type would never end.
bool endsInId(CORBA_TCKind kind) { return kind == tk_struct || kind == tk_union; }

// Other types are dumped wherever they are used, which a peer can make grow by the power. So the parameters
// of one dump are counted.
class ParameterCount {
public:
    ParameterCount(const TRXostream& stream, CORBA_ULong parameters) {
        constexpr uint64_t most = 1u << 18;
        // The outermost type of a dump begins the count again.
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
    // Asked before the type is remembered below.
    const bool again = endsInId(type->_kind) && hasPassed(stream, type);
    if (*type->_id != '\0')
        printLine(stream, {"Repository id: ", type->_id});
    if (again)
        return;
    const CORBA_ULong count = type->param_count();
    const ParameterCount bounded(stream, count);
    const OwnNesting nesting;
    const StreamDepth depth(stream);
    // Remembered before its parameters are printed, which may lead back to it.
    if (endsInId(type->_kind))
        rememberTypeCode(stream, type);
    const char* name = kindName(type->_kind);
    if (name)
        printLine(stream, {"CORBA::TCKind:", name});
    else
        // A number that is no kind has no name, and the line does not end.
        stream.write_raw("CORBA::TCKind:", 14);
    for (CORBA_ULong i = 0; i < count; ++i) {
        stream.write_raw("Parameter Number: ", 18);
        stream << i << std::endl;
        printAny(stream, *CORBA_Any_var(type->parameter(i)));
        stream << std::endl;
    }
}
