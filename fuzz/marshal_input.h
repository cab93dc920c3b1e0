#pragma once

#include "marshal/cdr/vbuf.h"
#include "marshal/typecode/typecode_access.h"
#include "orb/vorb.h"

#include <cstdint>

// The input of the targets that read CDR. Its first octet, which has to be there, holds flags, the lowest of
// them the byte order of the octets that follow.
class MarshalInput {
public:
    MarshalInput(const uint8_t* data, size_t size)
        : flags_(*data),
          in_(reinterpret_cast<const char*>(data + 1), static_cast<CORBA_ULong>(size - 1), 0, flags_ & 1) {
        harbolance::TypeCodeAccess::startUp();
        startOrb();
    }

    bool flag(uint8_t mask) const { return (flags_ & mask) != 0; }
    CORBA_MarshalInBuffer& in() { return in_; }

private:
    // References that are read become stubs, which need an ORB. None is called.
    static void startOrb() {
        static int argc = 0;
        char* argv[] = {nullptr};
        [[maybe_unused]] static CORBA_ORB* const orb = CORBA_ORB_init(argc, argv);
    }

    uint8_t flags_;
    CORBA_MarshalInBuffer in_;
};
