#pragma once

#include "marshal/vstream.h"

// What the two directions of the TypeCode's wire form share.

// In the place of a kind: an offset follows, to a TypeCode that has been there before.
constexpr CORBA_ULong tcIndirection = 0xFFFFFFFF;

// One level of TypeCodes inside a TypeCode, as a stream counts them. What the stream remembers of them is
// good for one outermost TypeCode.
template <class Stream>
class TRXStreamDepth {
public:
    explicit TRXStreamDepth(Stream& stream) : _stream(stream) { _stream.depth(_stream.depth() + 1); }
    TRXStreamDepth(const TRXStreamDepth&) = delete;
    TRXStreamDepth& operator=(const TRXStreamDepth&) = delete;
    ~TRXStreamDepth() {
        _stream.depth(_stream.depth() - 1);
        if (_stream.depth() == 0)
            _stream.reset_typecodes();
    }

private:
    Stream& _stream;
};
