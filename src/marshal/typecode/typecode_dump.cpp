#include "marshal/any/any.h"
#include "marshal/cdr/nesting.h"
#include "marshal/text/print_form.h"
#include "marshal/typecode/typecode.h"
#include "marshal/typecode/typecode_coder.h"

namespace {

bool hasPassed(const TRXostream& stream, const CORBA_TypeCode* type) {
    try {
        stream.lookup_typecode(type);
        return true;
    } catch (const CORBA_Exception&) {
        return false;
    }
}

// The types with many parts. One that comes again ends in its id, or the dump of a recursive type would never
// end, and that of types with two parts alike on every level hardly ever.
bool endsInId(CORBA_TCKind kind) { return kind == tk_struct || kind == tk_union || kind == tk_except; }

} // namespace

void CORBA_TypeCode::dump(TRXostream& stream, CORBA_TypeCode* type) {
    if (!type) {
        stream.write_raw("(nil)", 5);
        return;
    }
    const bool again = endsInId(type->_kind) && hasPassed(stream, type);
    if (*type->_id != '\0')
        printLine(stream, {"Repository id: ", type->_id});
    if (again)
        return;
    const TRXNesting nesting;
    const TRXStreamDepth depth(stream);
    if (endsInId(type->_kind))
        rememberTypeCode(stream, type);
    const char* name = tcKindName(type->_kind);
    if (name)
        printLine(stream, {"CORBA::TCKind:", name});
    else
        stream.write_raw("CORBA::TCKind:", 14);
    for (CORBA_ULong i = 0; i < type->_param_count; ++i) {
        stream.write_raw("Parameter Number: ", 18);
        stream << i << std::endl;
        printAny(stream, *type->_params[i]);
        stream << std::endl;
    }
}
