#pragma once

#include "marshal/exception/vexcept.h"

// One level of a value inside a value, while it is read. A peer chooses how deep a recursive type goes, so
// every reader that can come back to itself holds one of these; the level beyond the limit raises
// CORBA_MARSHAL while there is still stack to unwind.
class TRXNesting {
public:
    static constexpr int limit = 256;

    TRXNesting() {
        if (_depth == limit)
            throw CORBA_MARSHAL();
        ++_depth;
    }
    TRXNesting(const TRXNesting&) = delete;
    TRXNesting& operator=(const TRXNesting&) = delete;
    ~TRXNesting() { --_depth; }

private:
    static inline int _depth = 0;
};
