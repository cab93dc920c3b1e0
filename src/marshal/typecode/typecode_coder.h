#pragma once

#include "marshal/typecode/typecode.h"

// Shared by the reading and the writing of TypeCodes.

namespace harbolance {

// In place of a kind: the offset of an earlier TypeCode follows.
constexpr CORBA_ULong indirection = 0xFFFFFFFF;

// The kinds whose parameters are in an encapsulation of their own.
constexpr bool isEncapsulated(CORBA_TCKind kind) {
    return (kind >= tk_objref && kind <= tk_enum) || (kind >= tk_sequence && kind <= tk_except);
}

// Counts one level of nested TypeCodes on a stream. Stored TypeCodes are forgotten after the outermost one.
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

// Stores the TypeCode, so that later indirections can refer to it. The stream holds a reference until it
// forgets it. For an input stream the position is passed too.
template <class Stream, class... Position>
void rememberTypeCode(Stream& stream, CORBA_TypeCode* type, Position... position) {
    // The stream does not know how to release TypeCodes, so it is given the function.
    if (!stream.cleanup())
        stream.cleanup(CORBA_release);
    stream.store_typecode(position..., type);
    CORBA_TypeCode::_duplicate(type);
}

} // namespace harbolance
