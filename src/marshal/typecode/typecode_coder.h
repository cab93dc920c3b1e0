#pragma once

#include "marshal/typecode/typecode.h"

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
        if (_stream.depth() > 0)
            return;
        const CORBA_TypeCode::Releases together;
        _stream.reset_typecodes();
    }

private:
    Stream& _stream;
};

// From now on TypeCodes can point back at this one. The stream holds a reference until it forgets it. An
// input stream is told the position as well.
template <class Stream, class... Position>
void rememberTypeCode(Stream& stream, CORBA_TypeCode* type, Position... position) {
    if (!stream.cleanup())
        stream.cleanup(CORBA_release);
    stream.store_typecode(position..., type);
    CORBA_TypeCode::_duplicate(type);
}
