#include "marshal/any/any.h"
#include "marshal/typecode/typecode.h"
#include "marshal/typecode/typecode_shape.h"

#include <string_view>

// The compiler initialises the constants and nothing destroys them, so that they are there for whatever runs
// before and after `main`.
struct TRXConstantTypeCodes {
    union Parameter {
        constexpr Parameter(CORBA_TypeCode* type, std::string_view text)
            : any(type, CORBA_Any::Literal{text.data(), static_cast<CORBA_Long>(text.size() + 1)}) {}
        constexpr explicit Parameter(CORBA_TypeCode* zeroOf) : any(zeroOf, CORBA_Any::Zero{}) {}
        ~Parameter() {}

        CORBA_Any any;
    };

    union Type {
        constexpr explicit Type(CORBA_TCKind basic) : type(basic, "", nullptr, 0, shapeOfKind(basic, 0)) {}
        constexpr Type(CORBA_TCKind kind, const char* id, CORBA_Any** param, std::string_view octets)
            : type(kind, id, param, 1, mixShape(shapeOfKind(kind, 1), shapeOfOctets(octets))) {}
        ~Type() {}

        CORBA_TypeCode type;
    };
};

namespace {

using Parameter = TRXConstantTypeCodes::Parameter;
using Type = TRXConstantTypeCodes::Type;

constinit Type nullType(tk_null);
constinit Type voidType(tk_void);
constinit Type shortType(tk_short);
constinit Type longType(tk_long);
constinit Type ushortType(tk_ushort);
constinit Type ulongType(tk_ulong);
constinit Type floatType(tk_float);
constinit Type doubleType(tk_double);
constinit Type booleanType(tk_boolean);
constinit Type charType(tk_char);
constinit Type octetType(tk_octet);
constinit Type anyType(tk_any);
constinit Type typeCodeType(tk_TypeCode);
constinit Type principalType(tk_Principal);
constinit Type longlongType(tk_longlong);
constinit Type ulonglongType(tk_ulonglong);
constinit Type wcharType(tk_wchar);

constexpr std::string_view noBound("\0\0\0\0", 4);
constinit Parameter unbounded(&ulongType.type);
constinit CORBA_Any* stringParameters[] = {&unbounded.any};
constinit Type stringType(tk_string, "", stringParameters, noBound);
constinit Type wstringType(tk_wstring, "", stringParameters, noBound);

constinit Parameter objectName(&stringType.type, "Object");
constinit CORBA_Any* objectParameters[] = {&objectName.any};
constinit Type objectType(tk_objref, "IDL:omg.org/CORBA/Object:1.0", objectParameters, "Object");

constinit Parameter namedValueName(&stringType.type, "NamedValue");
constinit CORBA_Any* namedValueParameters[] = {&namedValueName.any};
constinit Type namedValueType(tk_struct, "IDL:omg.org/CORBA/NamedValue:1.0", namedValueParameters,
                              "NamedValue");

} // namespace

constinit CORBA_TypeCode* const _tc_null = &nullType.type;
constinit CORBA_TypeCode* const _tc_void = &voidType.type;
constinit CORBA_TypeCode* const _tc_short = &shortType.type;
constinit CORBA_TypeCode* const _tc_long = &longType.type;
constinit CORBA_TypeCode* const _tc_ushort = &ushortType.type;
constinit CORBA_TypeCode* const _tc_ulong = &ulongType.type;
constinit CORBA_TypeCode* const _tc_float = &floatType.type;
constinit CORBA_TypeCode* const _tc_double = &doubleType.type;
constinit CORBA_TypeCode* const _tc_boolean = &booleanType.type;
constinit CORBA_TypeCode* const _tc_char = &charType.type;
constinit CORBA_TypeCode* const _tc_octet = &octetType.type;
constinit CORBA_TypeCode* const _tc_any = &anyType.type;
constinit CORBA_TypeCode* const _tc_TypeCode = &typeCodeType.type;
constinit CORBA_TypeCode* const _tc_Principal = &principalType.type;
constinit CORBA_TypeCode* const _tc_string = &stringType.type;
constinit CORBA_TypeCode* const _tc_Object = &objectType.type;
constinit CORBA_TypeCode* const _tc_longlong = &longlongType.type;
constinit CORBA_TypeCode* const _tc_ulonglong = &ulonglongType.type;
constinit CORBA_TypeCode* const _tc_wchar = &wcharType.type;
constinit CORBA_TypeCode* const _tc_wstring = &wstringType.type;
constinit CORBA_TypeCode* const _tc_NamedValue = &namedValueType.type;
