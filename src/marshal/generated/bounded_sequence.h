#pragma once

#include "marshal/sequence/sequence.h"

namespace harbolance {

// A sequence of at most `bound` elements. A larger length raises CORBA_BAD_PARAM, or CORBA_MARSHAL when it
// comes from a stream.
template <CORBA_ULong bound, class T, class Element = TRXValueElement<T>>
class BoundedSequence : public TRXSequence<T, Element> {
    using Base = TRXSequence<T, Element>;

public:
    using typename Base::Stored;

    BoundedSequence() = default;
    // Takes the buffer like the constructor of TRXSequence.
    BoundedSequence(CORBA_ULong length, Stored* buffer, bool release = false)
        : Base(bound, checked(length), buffer, release) {}

    CORBA_ULong maximum() const { return bound; }
    using Base::length;
    void length(CORBA_ULong length) { Base::length(checked(length)); }

    // A buffer for `bound` elements.
    static Stored* allocbuf() { return Base::allocbuf(bound); }

    void _read(TRXistream& stream) { Base::_read(stream, bound); }

private:
    static CORBA_ULong checked(CORBA_ULong length) {
        if (length > bound)
            throw CORBA_BAD_PARAM();
        return length;
    }
};

template <CORBA_ULong bound, class T, class Element>
TRXistream& operator>>(TRXistream& stream, BoundedSequence<bound, T, Element>& sequence) {
    sequence._read(stream);
    return stream;
}

} // namespace harbolance
