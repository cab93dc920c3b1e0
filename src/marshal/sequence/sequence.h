#pragma once

#include "marshal/exception/vexcept.h"
#include "marshal/limits.h"
#include "marshal/sequence/sequence_element.h"
#include "marshal/var.h"

#include <algorithm>
#include <istream>
#include <utility>

// Every sequence of the system: `length` elements in a buffer of `maximum`. With `release` the sequence owns
// the buffer and all of its `maximum` elements, of which those that have never been used are zero.
//
// A generated sequence derives and adds its name:
//
//     class NameSeq : public TRXSequence<char*, TRXStringElement> {
//     public:
//         using TRXSequence::TRXSequence;
//     };
//
// The `_var` and `_ptr` forms of a sequence share one object by its reference count.
template <class T, class Element = TRXValueElement<T>>
class TRXSequence {
public:
    using ElementTraits = Element;
    using Stored = typename Element::Stored;
    static constexpr CORBA_ULong _minimum_octets = 4;

    TRXSequence() = default;
    explicit TRXSequence(CORBA_ULong maximum) : _buffer(allocbuf(maximum)), _maximum(maximum) {}
    // Refers to the caller's buffer, or with `release` takes over one from `allocbuf`.
    TRXSequence(CORBA_ULong maximum, CORBA_ULong length, Stored* buffer, bool release = false)
        : _buffer(buffer), _length(length), _maximum(maximum), _release(release) {}
    TRXSequence(const TRXSequence& other) : TRXSequence() { copyFrom(other); }
    TRXSequence(TRXSequence&& other) noexcept { swap(other); }
    ~TRXSequence() { freeOwn(); }

    TRXSequence& operator=(const TRXSequence& other) {
        if (this != &other) {
            // Copied first: when that raises, the old elements are still there.
            TRXSequence copy(other);
            swap(copy);
        }
        return *this;
    }
    TRXSequence& operator=(TRXSequence&& other) noexcept {
        swap(other);
        return *this;
    }

    CORBA_ULong length() const { return _length; }
    CORBA_ULong maximum() const { return _maximum; }
    bool release() const { return _release; }

    // A length above the maximum moves the elements to a new buffer of exactly that size, which the sequence
    // owns; elements of a borrowed buffer are copied. A smaller length keeps the elements beyond it.
    void length(CORBA_ULong length) {
        if (length > _maximum)
            reserve(length);
        _length = length;
    }

    // An index at or beyond the length raises CORBA_BAD_PARAM.
    typename Element::Reference operator[](CORBA_ULong index) {
        check(index);
        if constexpr (Element::pointer)
            // Without `release` the old element belongs to the caller and is not freed when it is replaced.
            return {_buffer[index], _release};
        else
            return _buffer[index];
    }
    typename Element::ConstReference operator[](CORBA_ULong index) const {
        check(index);
        return _buffer[index];
    }

    Stored* buffer() { return _buffer; }
    const Stored* buffer() const { return _buffer; }
    Stored* begin() { return _buffer; }
    Stored* end() { return _buffer + _length; }
    const Stored* begin() const { return _buffer; }
    const Stored* end() const { return _buffer + _length; }

    // A zero-filled buffer, null for 0 elements.
    static Stored* allocbuf(CORBA_ULong maximum) { return maximum == 0 ? nullptr : new Stored[maximum](); }

    // One more reference, for a `_var` (TRXVar of the sequence class). Null gives null.
    template <std::derived_from<TRXSequence> S>
    static S* _duplicate(S* sequence) {
        if (sequence)
            ++sequence->_ref_count;
        return sequence;
    }
    static TRXSequence* _duplicate(std::nullptr_t) { return nullptr; }
    CORBA_ULong _refcount() const { return _ref_count; }
    bool _drop_reference() { return --_ref_count == 0; } // whether it was the last

    // More than `bound` elements raise CORBA_MARSHAL.
    void _read(TRXistream& stream, CORBA_ULong bound = UINT32_MAX);
    void _write(TRXostream& stream) const;

protected:
    // Sets the length for a value that will overwrite all elements: those of a new buffer of plain elements
    // are not initialised.
    void fitToOverwrite(CORBA_ULong length) {
        if (!keepsBuffer(length))
            takeBuffer(Element::plain ? new Stored[length] : allocbuf(length), length);
        _length = length;
    }

private:
    void check(CORBA_ULong index) const {
        if (index >= _length)
            throw CORBA_BAD_PARAM();
    }

    void swap(TRXSequence& other) noexcept {
        std::swap(_buffer, other._buffer);
        std::swap(_length, other._length);
        std::swap(_maximum, other._maximum);
        std::swap(_release, other._release);
    }

    void freeOwn() {
        if (!_release || !_buffer)
            return;
        if constexpr (Element::pointer) {
            // Up to the maximum: elements beyond a shortened length are still there, and unused ones are
            // null.
            for (CORBA_ULong i = 0; i < _maximum; ++i)
                Element::free(_buffer[i]);
        }
        delete[] _buffer;
    }

    void copyFrom(const TRXSequence& other) {
        _maximum = other._maximum;
        if constexpr (Element::plain) {
            _buffer = _maximum == 0 ? nullptr : new Stored[_maximum];
            // Elements that were never used are zero in every sequence.
            std::fill(std::copy(other.begin(), other.end(), _buffer), _buffer + _maximum, Stored());
        } else {
            _buffer = allocbuf(_maximum);
            std::transform(other.begin(), other.end(), _buffer,
                           [](const Stored& element) { return Element::copy(element); });
        }
        _length = other._length;
    }

    void reserve(CORBA_ULong maximum) {
        TRXSequence grown(maximum);
        // Own elements move, those beyond the length too. Of a borrowed buffer only the length is known to be
        // filled.
        for (CORBA_ULong i = 0; i < (_release ? _maximum : _length); ++i) {
            if (_release)
                std::swap(grown._buffer[i], _buffer[i]);
            else
                grown._buffer[i] = Element::copy(_buffer[i]);
        }
        grown._length = _length;
        swap(grown);
    }

    // A borrowed buffer of pointers is replaced: its pointers must be neither freed nor overwritten.
    bool keepsBuffer(CORBA_ULong length) const {
        return length <= _maximum && (_release || !Element::pointer);
    }

    void takeBuffer(Stored* buffer, CORBA_ULong maximum) {
        freeOwn();
        _buffer = buffer;
        _length = 0;
        _maximum = maximum;
        _release = true;
    }

    void readArray(TRXistream& stream, CORBA_ULong count);
    void readOneByOne(TRXistream& stream, CORBA_ULong count);

    Stored* _buffer = nullptr;
    CORBA_ULong _length = 0;
    CORBA_ULong _maximum = 0;
    bool _release = true;
    CORBA_ULong _ref_count = 1;
};

template <class T, class Element>
void TRXSequence<T, Element>::_read(TRXistream& stream, CORBA_ULong bound) {
    CORBA_ULong count = 0;
    stream >> count;
    // Before anything is allocated: count and bound are all that is known of the sequence yet.
    if (count > bound)
        throw CORBA_MARSHAL();
    // A count of the peer's has to be possible with the octets that are left.
    const uint64_t octets = uint64_t{count} * Element::minimumOctets;
    if (!stream.stream() && (octets > UINT32_MAX || !stream.has(static_cast<CORBA_ULong>(octets))))
        throw CORBA_MARSHAL();
    if (count == 0)
        _length = 0;
    else if ((harbolance::isArrayElement<Stored> || std::is_same_v<Stored, CORBA_Char>)&&!stream.stream())
        readArray(stream, count);
    else
        readOneByOne(stream, count);
}

template <class T, class Element>
void TRXSequence<T, Element>::readArray(TRXistream& stream, CORBA_ULong count) {
    fitToOverwrite(count);
    if constexpr (std::is_same_v<Stored, CORBA_Char>)
        stream.read_raw(_buffer, count);
    else if constexpr (harbolance::isArrayElement<Stored>)
        stream.read(_buffer, count);
}

// The count comes from a peer and elements may nest: ReadAhead decides whether the whole buffer is allocated
// now, or grows with the elements that arrive.
template <class T, class Element>
void TRXSequence<T, Element>::readOneByOne(TRXistream& stream, CORBA_ULong count) {
    constexpr CORBA_ULong few = 16;
    const harbolance::ReadNesting nesting;
    const harbolance::ReadAhead ahead(stream, uint64_t{count} * sizeof(Stored));
    // A buffer that cannot be kept goes before the new one comes: both need not be in memory at once.
    if (!keepsBuffer(count))
        takeBuffer(nullptr, 0);
    const bool atOnce = ahead.granted() || count <= _maximum;
    if (count > _maximum)
        reserve(atOnce ? count : std::min(count, few));
    if (atOnce && !stream.stream()) {
        // Set before the elements are read: a failure in the middle leaves elements that are at least zero.
        _length = count;
        for (Stored& element : *this)
            Element::read(stream, element);
        return;
    }
    _length = 0;
    for (CORBA_ULong i = 0; i < count; ++i) {
        // Doubled behind what has arrived: an announced count costs a peer the octets for it.
        if (i == _maximum)
            reserve(static_cast<CORBA_ULong>(std::min(uint64_t{2} * _maximum, uint64_t{count})));
        // At its end a text stream gives zeros for ever, and the count would be filled with them.
        if (stream.stream() && !stream.stream()->good()) {
            stream.stream()->setstate(std::ios::failbit);
            return;
        }
        Element::read(stream, _buffer[i]);
        _length = i + 1;
    }
}

template <class T, class Element>
void TRXSequence<T, Element>::_write(TRXostream& stream) const {
    stream << _length;
    if (_length == 0)
        return;
    if constexpr (harbolance::isArrayElement<Stored>) {
        stream.write(_buffer, _length);
    } else if (std::is_same_v<Stored, CORBA_Char> && !stream.stream()) {
        stream.write_raw(reinterpret_cast<const char*>(_buffer), _length);
    } else {
        const harbolance::OwnNesting nesting;
        for (CORBA_ULong i = 0; i < _length; ++i)
            Element::write(stream, _buffer[i]);
    }
}

template <class S>
concept TRXSequenceClass = requires {
    typename S::ElementTraits;
}
&&requires(S& sequence, TRXistream& stream) { sequence._read(stream); };

template <class T, class Element>
TRXostream& operator<<(TRXostream& stream, const TRXSequence<T, Element>& sequence) {
    sequence._write(stream);
    return stream;
}

// A count that the stream cannot hold raises CORBA_MARSHAL before anything is allocated. A buffer that is
// large enough is kept.
template <class T, class Element>
TRXistream& operator>>(TRXistream& stream, TRXSequence<T, Element>& sequence) {
    sequence._read(stream);
    return stream;
}

// A null pointer raises CORBA_BAD_PARAM.
template <TRXSequenceClass S>
TRXostream& operator<<(TRXostream& stream, const S* sequence) {
    if (!sequence)
        throw CORBA_BAD_PARAM();
    sequence->_write(stream);
    return stream;
}

// The caller owns the new sequence; the old pointer is overwritten. It is null when the stream raises.
template <TRXSequenceClass S>
TRXistream& operator>>(TRXistream& stream, S*& sequence) {
    sequence = nullptr;
    S read;
    read._read(stream);
    // Made when everything has been read: the pointer stays null when the stream raises.
    sequence = new S(std::move(read));
    return stream;
}

template <TRXSequenceClass S>
void CORBA_release(S* sequence) {
    if (sequence && sequence->_drop_reference())
        delete sequence;
}
