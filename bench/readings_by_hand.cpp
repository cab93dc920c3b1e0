#include "readings_by_hand.h"

#include <cstring>

namespace by_hand {

TRXostream& operator<<(TRXostream& stream, const Reading& reading) {
    return stream << reading.number << reading.value << reading.name.in();
}
TRXistream& operator>>(TRXistream& stream, Reading& reading) {
    return stream >> reading.number >> reading.value >> reading.name;
}

TRXostream& operator<<(TRXostream& stream, const BoundedReading& reading) {
    if (std::strlen(reading.name.in()) > 16)
        throw CORBA_BAD_PARAM();
    return stream << reading.number << reading.value << reading.name.in();
}
TRXistream& operator>>(TRXistream& stream, BoundedReading& reading) {
    stream >> reading.number >> reading.value >> reading.name;
    if (std::strlen(reading.name.in()) > 16)
        throw CORBA_MARSHAL();
    return stream;
}

} // namespace by_hand
