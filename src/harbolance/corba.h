#pragma once

// The ORB, for programs: this header and <harbolance/agent.h> are what to include, in the tree and installed;
// the headers behind them may change their places.
//
// What the IDL module CORBA defines is spelled CORBA_X in the library and in code that is generated for that
// module. Namespace CORBA has the names of the standard C++ mapping for all of it. Each is another name for
// the same thing, so both may stand in one program.

#include "adapter/server_interceptor.h"
#include "adapter/voa.h"
#include "invoke/stub/vcinter.h"
#include "invoke/stub/vstub.h"
#include "marshal/any/any.h"
#include "marshal/any/unknown_user_exception.h"
#include "marshal/cdr/vbuf.h"
#include "marshal/exception/environment.h"
#include "marshal/exception/orb_exceptions.h"
#include "marshal/exception/user_exception.h"
#include "marshal/exception/vexcept.h"
#include "marshal/reference/vior.h"
#include "marshal/reference/vutil.h"
#include "marshal/sequence/octet_sequence.h"
#include "marshal/sequence/string_sequence.h"
#include "marshal/text/vstr.h"
#include "marshal/typecode/typecode.h"
#include "marshal/types.h"
#include "object/bind_options.h"
#include "object/generated_code.h"
#include "object/global_table.h"
#include "object/implementation_def.h"
#include "object/vobject.h"
#include "object/vtypeinf.h"
#include "orb/vorb.h"

#include <utility>

namespace CORBA {

// Basic types.
using Boolean = ::CORBA_Boolean;
using Char = ::CORBA_Char;
using WChar = ::CORBA_WChar;
using Octet = ::CORBA_Octet;
using Short = ::CORBA_Short;
using UShort = ::CORBA_UShort;
using Long = ::CORBA_Long;
using ULong = ::CORBA_ULong;
using LongLong = ::CORBA_LongLong;
using ULongLong = ::CORBA_ULongLong;
using Float = ::CORBA_Float;
using Double = ::CORBA_Double;

// Strings.
using String_var = ::CORBA_String_var;
using WString_var = ::CORBA_WString_var;

inline char* string_alloc(ULong length) { return ::CORBA_string_alloc(length); }
inline char* string_dup(const char* string) { return ::CORBA_string_dup(string); }
inline void string_free(char* string) { ::CORBA_string_free(string); }
inline int string_compare(const char* a, const char* b) { return ::CORBA_string_compare(a, b); }
inline ULong string_hash(const char* string) { return ::CORBA_string_hash(string); }
inline WChar* wstring_alloc(ULong length) { return ::CORBA_wstring_alloc(length); }
inline WChar* wstring_dup(const WChar* string) { return ::CORBA_wstring_dup(string); }
inline void wstring_free(WChar* string) { ::CORBA_wstring_free(string); }
inline int wstring_compare(const WChar* a, const WChar* b) { return ::CORBA_wstring_compare(a, b); }
inline ULong wstring_hash(const WChar* string) { return ::CORBA_wstring_hash(string); }

// Sequences.
using OctetSequence = ::CORBA_OctetSequence;
using OctetSequence_var = ::CORBA_OctetSequence_var;
using StringSequence = ::CORBA_StringSequence;
using StringSequence_var = ::CORBA_StringSequence_var;

// References. Both functions take whatever CORBA_release and CORBA_is_nil take, plain pointers and holders.
using BindOptions = ::CORBA_BindOptions;
using Object = ::CORBA_Object;
using Object_ptr = ::CORBA_Object_ptr;
using Object_var = ::CORBA_Object_var;
using TypeInfo = ::CORBA_TypeInfo;

template <class Reference>
void release(Reference&& reference) {
    CORBA_release(std::forward<Reference>(reference));
}
template <class Reference>
Boolean is_nil(const Reference& reference) {
    return CORBA_is_nil(reference);
}

// The ORB.
using ORB = ::CORBA_ORB;
using ORB_ptr = ::CORBA_ORB_ptr;
using ORB_var = ::CORBA_ORB_var;

inline ORB_ptr ORB_init(int& argc, char** argv, const char* orb_id = nullptr) {
    return ::CORBA_ORB_init(argc, argv, orb_id);
}
inline ORB_ptr ORB_init() { return ::CORBA_ORB_init(); }

using Environment = ::CORBA_Environment;

// Object adapters.
using BOA = ::CORBA_BOA;
using BOA_ptr = ::CORBA_BOA_ptr;
using BOA_var = ::CORBA_BOA_var;
using ActivationPolicy = ::CORBA_ActivationPolicy;
using enum ::CORBA_ActivationPolicy;
using ImplementationDef = ::CORBA_ImplementationDef;
using ImplementationDef_ptr = ::CORBA_ImplementationDef_ptr;
using Principal = ::CORBA_OctetSequence;
using Principal_ptr = ::CORBA_OctetSequence*;
using ReferenceData = ::CORBA_OctetSequence;

// Types and values at run time.
using Any = ::CORBA_Any;
using Any_var = ::CORBA_Any_var;
using TypeCode = ::CORBA_TypeCode;
using TypeCode_ptr = ::CORBA_TypeCode_ptr;
using TypeCode_var = ::CORBA_TypeCode_var;
using TCKind = ::CORBA_TCKind;
using enum ::CORBA_TCKind;

using ::_tc_any;
using ::_tc_boolean;
using ::_tc_char;
using ::_tc_double;
using ::_tc_float;
using ::_tc_long;
using ::_tc_longlong;
using ::_tc_NamedValue;
using ::_tc_null;
using ::_tc_Object;
using ::_tc_octet;
using ::_tc_Principal;
using ::_tc_short;
using ::_tc_string;
using ::_tc_TypeCode;
using ::_tc_ulong;
using ::_tc_ulonglong;
using ::_tc_ushort;
using ::_tc_void;
using ::_tc_wchar;
using ::_tc_wstring;

// Exceptions.
using CompletionStatus = ::CORBA_CompletionStatus;
using enum ::CORBA_CompletionStatus;
using Exception = ::CORBA_Exception;
using ExceptionDesc = ::CORBA_ExceptionDesc;
using ExceptionList = ::CORBA_ExceptionList;
using ExceptionList_ptr = ::CORBA_ExceptionList*;
using ExceptionList_var = TRXVar<::CORBA_ExceptionList>;
using SystemException = ::CORBA_SystemException;
using UserException = ::CORBA_UserException;
using UnknownUserException = ::CORBA_UnknownUserException;
using WrongTransaction = ::CORBA_WrongTransaction;

#define TRX_NAME_SYSTEM_EXCEPTION(X) using X = ::CORBA_##X;
TRX_SYSTEM_EXCEPTIONS(TRX_NAME_SYSTEM_EXCEPTION)
#undef TRX_NAME_SYSTEM_EXCEPTION

// Marshal buffers, in which arguments and results travel.
using MarshalInBuffer = ::CORBA_MarshalInBuffer;
using MarshalInBuffer_var = ::CORBA_MarshalInBuffer_var;
using MarshalInBuffer_ptr = ::CORBA_MarshalInBuffer_ptr;
using MarshalOutBuffer = ::CORBA_MarshalOutBuffer;
using MarshalOutBuffer_var = ::CORBA_MarshalOutBuffer_var;
using MarshalOutBuffer_ptr = ::CORBA_MarshalOutBuffer_ptr;

} // namespace CORBA
