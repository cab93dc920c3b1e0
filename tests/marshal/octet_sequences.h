#pragma once

#include "marshal/octets.h"
#include "marshal/sequence/octet_sequence.h"

// Octet sequences to and from pairs of hexadecimal digits.

inline CORBA_OctetSequence sequence(std::string_view digits) {
    const std::string bytes = octets(digits);
    return CORBA_OctetSequence(std::span(reinterpret_cast<const CORBA_Octet*>(bytes.data()), bytes.size()));
}

inline std::string hex(const CORBA_OctetSequence& octets) {
    return hex(std::string_view(reinterpret_cast<const char*>(octets.buffer()), octets.length()));
}
