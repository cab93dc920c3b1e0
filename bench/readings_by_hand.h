#pragma once

#include <harbolance/corba.h>

// The types of readings.idl as one writes them without the compiler.

namespace by_hand {

struct Reading {
    CORBA_Long number = 0;
    CORBA_Double value = 0;
    CORBA_String_var name;
};
TRXostream& operator<<(TRXostream& stream, const Reading& reading);
TRXistream& operator>>(TRXistream& stream, Reading& reading);

// The name has 16 characters at the most.
struct BoundedReading {
    CORBA_Long number = 0;
    CORBA_Double value = 0;
    CORBA_String_var name;
};
TRXostream& operator<<(TRXostream& stream, const BoundedReading& reading);
TRXistream& operator>>(TRXistream& stream, BoundedReading& reading);

} // namespace by_hand
