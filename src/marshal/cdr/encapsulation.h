#pragma once

#include "marshal/cdr/vbuf.h"
#include "marshal/sequence/octet_sequence.h"

// Encapsulations: octets that carry their own byte order, such as profile bodies, object keys and components.
// The first octet states the order, and alignment counts from it.

// Reads an encapsulation, which is borrowed. The constructor reads the byte order octet; an empty
// encapsulation raises CORBA_MARSHAL.
class TRXEncapsulationReader : public CORBA_MarshalInBuffer {
public:
    explicit TRXEncapsulationReader(const CORBA_OctetSequence& octets)
        : CORBA_MarshalInBuffer(reinterpret_cast<const char*>(octets.buffer()), octets.length()) {
        CORBA_Octet order = 0;
        // An octet has no byte order, so it can be read before the order is known.
        *this >> order;
        byte_order(order);
    }
};

// Writes an encapsulation; the first 255 octets need no heap memory. The constructor writes the byte order
// octet.
class TRXEncapsulationWriter : public CORBA_MarshalOutBuffer {
public:
    TRXEncapsulationWriter() : CORBA_MarshalOutBuffer(_memory, sizeof _memory, 0) {
        *this << harbolance::hostByteOrder;
    }

    // All octets written so far; valid until the next write.
    std::span<const CORBA_Octet> octets() const {
        return {reinterpret_cast<const CORBA_Octet*>(data()), offset()};
    }

private:
    char _memory[255];
};
