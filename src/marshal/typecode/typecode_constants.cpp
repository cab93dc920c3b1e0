#include "marshal/typecode/typecode_access.h"

// Constants that can be used before and after `main`.

using Constant = harbolance::TypeCodeAccess::Constant;

namespace {

constinit Constant nullType(tk_null);
constinit Constant voidType(tk_void);
constinit Constant shortType(tk_short);
constinit Constant longType(tk_long);
constinit Constant ushortType(tk_ushort);
constinit Constant ulongType(tk_ulong);
constinit Constant floatType(tk_float);
constinit Constant doubleType(tk_double);
constinit Constant booleanType(tk_boolean);
constinit Constant charType(tk_char);
constinit Constant octetType(tk_octet);
constinit Constant anyType(tk_any);
constinit Constant typeCodeType(tk_TypeCode);
constinit Constant principalType(tk_Principal);
constinit Constant longlongType(tk_longlong);
constinit Constant ulonglongType(tk_ulonglong);
constinit Constant wcharType(tk_wchar);
constinit Constant stringType(tk_string);
constinit Constant wstringType(tk_wstring);
constinit Constant objectType(tk_objref, "IDL:omg.org/CORBA/Object:1.0", "Object");
constinit Constant namedValueType(tk_struct, "IDL:omg.org/CORBA/NamedValue:1.0", "NamedValue");

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
