#pragma once

#include "marshal/cdr/vbuf.h"
#include "marshal/sequence/octet_sequence.h"

// Octets that carry a value together with the byte order it is written in: profile bodies, object keys,
// components. The first octet states the order, and alignment counts from it.

// Reads one; the octets stay the caller's. Its order octet has been read. No octets at all raise
// CORBA_MARSHAL.
class TRXEncapsulationReader : public CORBA_MarshalInBuffer {
public:
    explicit TRXEncapsulationReader(const CORBA_OctetSequence& octets)
        : CORBA_MarshalInBuffer(reinterpret_cast<const char*>(octets.buffer()), octets.length()) {
        CORBA_Octet order = 0;
        *this >> order;
        byte_order(order);
    }
};

// Writes one, in memory of its own as long as it is small. Its order octet has been written.
class TRXEncapsulationWriter : public CORBA_MarshalOutBuffer {
public:
    TRXEncapsulationWriter() : CORBA_MarshalOutBuffer(_memory, sizeof _memory, 0) {
        *this << harbolance::hostByteOrder;
    }

    // All that has been written, until the next write.
    std::span<const CORBA_Octet> octets() const {
        return {reinterpret_cast<const CORBA_Octet*>(data()), offset()};
    }

private:
    char _memory[255];
};
