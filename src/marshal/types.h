#pragma once

// The ORB's data, in one folder for each subject:
//
//   text/       strings and the typed streams TRXostream and TRXistream with their readable form
//   cdr/        the same streams in memory as CDR, encapsulations, the pool of buffers
//   sequence/   the template of all sequences, and the two that the ORB itself uses
//   exception/  the exception tree
//   reference/  object references, object keys, and what this layer needs of objects
//   typecode/   types at run time
//   any/        values with their types
//
// Every value that crosses an interface is written to a TRXostream and read from a TRXistream. limits.h has
// the limits on a peer's input, var.h the holder of reference-counted objects.
//
// This file defines the types with the sizes of the wire. A C++ `long` is written as 4 octets, whatever its
// size in memory, so CORBA_LongLong must not be an alias of it.

#include <cstdint>

using CORBA_Boolean = unsigned char; // this ORB sends 0 or 1; a peer may send any octet
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
