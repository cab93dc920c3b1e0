#pragma once

// The ORB's data. Text and its holders (vstr.h, var.h), the exception tree (vexcept.h), the typed streams
// with their readable form (vstream.h), their CDR form in memory (vbuf.h) and the pool of buffers
// (buffer_pool.h), sequences (sequence.h, octet_sequence.h), references and what stands in them (vior.h,
// vobjectid.h, code_sets.h) with the operations on them (vutil.h), what is needed of objects
// (object_operations.h), types at run time (typecode.h) and values with their types (any.h). Everything that
// crosses an interface is written to a TRXostream and read from a TRXistream; which of the two forms it takes
// is the stream's affair.
//
// This file fixes the widths. They are those of the wire, whatever C++'s `long` measures: a plain C++ `long`
// that is handed to a stream goes out as 4 octets, so CORBA_LongLong must not be an alias of it.

#include <cstdint>

using CORBA_Boolean = unsigned char; // 0 or 1 from us; a peer may have sent any octet
using CORBA_Char = char;
using CORBA_Octet = unsigned char;
using CORBA_Short = int16_t;
using CORBA_UShort = uint16_t;
using CORBA_Long = int32_t;
using CORBA_ULong = uint32_t;
using CORBA_LongLong = long long;
using CORBA_ULongLong = unsigned long long;
using CORBA_Float = float;
using CORBA_Double = double;
using CORBA_WChar = wchar_t; // 4 octets in memory, 2 on the wire

static_assert(sizeof(CORBA_LongLong) == 8 && sizeof(CORBA_WChar) == 4);
static_assert(sizeof(CORBA_Float) == 4 && sizeof(CORBA_Double) == 8);
