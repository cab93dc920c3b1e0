#pragma once

#include "marshal/typecode/typecode.h"

// What the two directions of the TypeCode's wire form share.

namespace harbolance {

// In the place of a kind: an offset follows, to a TypeCode that has been there before.
constexpr CORBA_ULong indirection = 0xFFFFFFFF;

// The kinds whose fields stand in an encapsulation of their own.
constexpr bool isEncapsulated(CORBA_TCKind kind) {
    return (kind >= tk_objref && kind <= tk_enum) || (kind >= tk_sequence && kind <= tk_except);
}

// One level of TypeCodes inside a TypeCode, as a stream counts them. What the stream remembers of them holds
// for one outermost TypeCode.
template <class Stream>
class StreamDepth {
public:
    explicit StreamDepth(Stream& stream) : _stream(stream) { _stream.depth(_stream.depth() + 1); }
    StreamDepth(const StreamDepth&) = delete;
    StreamDepth& operator=(const StreamDepth&) = delete;
    ~StreamDepth() {
        _stream.depth(_stream.depth() - 1);
        if (_stream.depth() == 0)
            _stream.reset_typecodes();
    }

private:
    Stream& _stream;
};

// From now on TypeCodes can point back at this one. The stream holds a reference until it forgets it. An
// input stream is told the position as well.
template <class Stream, class... Position>
void rememberTypeCode(Stream& stream, CORBA_TypeCode* type, Position... position) {
    // The stream releases what it holds, but knows nothing of TypeCodes: it is told how.
    if (!stream.cleanup())
        stream.cleanup(CORBA_release);
    stream.store_typecode(position..., type);
    CORBA_TypeCode::_duplicate(type);
}

} // namespace harbolance
