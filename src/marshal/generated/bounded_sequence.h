#pragma once

#include "marshal/sequence/sequence.h"

namespace harbolance {

// A sequence that has `bound` elements at the most. A greater length raises CORBA_BAD_PARAM, one that a
// stream brings CORBA_MARSHAL.
template <CORBA_ULong bound, class T, class Element = TRXValueElement<T>>
class BoundedSequence : public TRXSequence<T, Element> {
    using Base = TRXSequence<T, Element>;

public:
    using typename Base::Stored;

    BoundedSequence() = default;
    // Takes everything as it is; see TRXSequence.
    BoundedSequence(CORBA_ULong length, Stored* buffer, bool release = false)
        : Base(bound, checked(length), buffer, release) {}

    CORBA_ULong maximum() const { return bound; }
    using Base::length;
    void length(CORBA_ULong length) { Base::length(checked(length)); }

    // A buffer for as many elements as there can be.
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
