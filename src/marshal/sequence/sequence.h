#pragma once

#include "base/free_list.h"
#include "marshal/exception/vexcept.h"
#include "marshal/limits.h"
#include "marshal/sequence/sequence_element.h"
#include "marshal/var.h"

#include <algorithm>
#include <istream>
#include <utility>

// The template of all sequences: `length` elements in a buffer of `maximum`. With `release` the sequence owns
// the buffer and all its `maximum` elements; those that have never been used are zero.
//
// A generated sequence derives and adds its name:
//
//     class NameSeq : public TRXSequence<char*, TRXStringElement> {
//     public:
//         using TRXSequence::TRXSequence;
//     };
//
// The `_var` and `_ptr` forms of a sequence share one object by its reference count. The memory of deleted
// sequence objects is used for the next ones, because a call returns its sequences on the heap.
template <class T, class Element = TRXValueElement<T>>
class TRXSequence : public harbolance::FreeListed<TRXSequence<T, Element>> {
public:
    using ElementTraits = Element;
    using Stored = typename Element::Stored;
    static constexpr CORBA_ULong _minimum_octets = 4;

    TRXSequence() = default;
    explicit TRXSequence(CORBA_ULong maximum) : _buffer(allocbuf(maximum)), _maximum(maximum) {}
    // Borrows the caller's buffer, or with `release` takes ownership of one from `allocbuf`.
    TRXSequence(CORBA_ULong maximum, CORBA_ULong length, Stored* buffer, bool release = false)
        : _buffer(buffer), _length(length), _maximum(maximum), _release(release) {}
    TRXSequence(const TRXSequence& other) : TRXSequence() { copyFrom(other); }
    TRXSequence(TRXSequence&& other) noexcept { swap(other); }
    ~TRXSequence() { freeOwn(); }

    TRXSequence& operator=(const TRXSequence& other) {
        if (this != &other) {
            // Copied first: when copying raises, the old elements remain.
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
            // Without `release` the caller owns the old element, so it is not freed when it is replaced.
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
    // Sets the length for a caller that will overwrite all elements: plain elements of a new buffer are not
    // initialised.
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
            // All elements up to the maximum are freed: elements beyond a shortened length still exist,
            // unused ones are null.
            for (CORBA_ULong i = 0; i < _maximum; ++i)
                Element::free(_buffer[i]);
        }
        delete[] _buffer;
    }

    void copyFrom(const TRXSequence& other) {
        _maximum = other._maximum;
        if constexpr (Element::plain) {
            _buffer = _maximum == 0 ? nullptr : new Stored[_maximum];
            // Unused elements are zero in every sequence.
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
        // Owned elements are moved, including those beyond the length. In a borrowed buffer only `length`
        // elements are known to be valid.
        for (CORBA_ULong i = 0; i < (_release ? _maximum : _length); ++i) {
            if (_release)
                std::swap(grown._buffer[i], _buffer[i]);
            else
                grown._buffer[i] = Element::copy(_buffer[i]);
        }
        grown._length = _length;
        swap(grown);
    }

    // A borrowed buffer of pointers is replaced, because its pointers must be neither freed nor overwritten.
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
[[gnu::hot]] void TRXSequence<T, Element>::_read(TRXistream& stream, CORBA_ULong bound) {
    CORBA_ULong count = 0;
    stream >> count;
    // Tested before anything is allocated.
    if (count > bound)
        throw CORBA_MARSHAL();
    // A count from the peer must be possible with the octets left.
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

// The count comes from a peer and elements may nest, so ReadAhead decides whether the whole buffer is
// allocated now or grows as elements arrive.
template <class T, class Element>
void TRXSequence<T, Element>::readOneByOne(TRXistream& stream, CORBA_ULong count) {
    constexpr CORBA_ULong few = 16;
    const harbolance::ReadNesting nesting;
    const harbolance::ReadAhead ahead(stream, uint64_t{count} * sizeof(Stored));
    // A buffer that cannot be reused is freed first, so that both are not in memory at once.
    if (!keepsBuffer(count))
        takeBuffer(nullptr, 0);
    const bool atOnce = ahead.granted() || count <= _maximum;
    if (count > _maximum)
        reserve(atOnce ? count : std::min(count, few));
    if (atOnce && !stream.stream()) {
        // Set before the elements are read: after a failure the elements not yet read are zero.
        _length = count;
        for (Stored& element : *this)
            Element::read(stream, element);
        return;
    }
    _length = 0;
    for (CORBA_ULong i = 0; i < count; ++i) {
        // Doubled as elements arrive: to make this process allocate memory a peer must send the octets.
        if (i == _maximum)
            reserve(static_cast<CORBA_ULong>(std::min(uint64_t{2} * _maximum, uint64_t{count})));
        // At its end a text stream gives zeros for ever, which would fill the claimed count.
        if (stream.stream() && !stream.stream()->good()) {
            stream.stream()->setstate(std::ios::failbit);
            return;
        }
        Element::read(stream, _buffer[i]);
        _length = i + 1;
    }
}

template <class T, class Element>
[[gnu::hot]] void TRXSequence<T, Element>::_write(TRXostream& stream) const {
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

// A count that the stream cannot contain raises CORBA_MARSHAL before anything is allocated. A buffer that is
// large enough is reused.
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
    // Made after everything has been read, so the pointer stays null when the stream raises.
    sequence = new S(std::move(read));
    return stream;
}

template <TRXSequenceClass S>
[[gnu::hot]] void CORBA_release(S* sequence) {
    if (sequence && sequence->_drop_reference())
        delete sequence;
}
