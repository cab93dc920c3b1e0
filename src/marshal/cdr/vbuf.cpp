#include "marshal/cdr/vbuf.h"

#include "marshal/exception/vexcept.h"
#include "marshal/marshal_settings.h"
#include "marshal/text/vstr.h"

#include <algorithm>
#include <limits>
#include <string>

using namespace harbolance;

namespace {

constexpr uint64_t maxOctets = std::numeric_limits<CORBA_ULong>::max();

// `alignment` must be a power of two.
CORBA_ULong paddingTo(CORBA_ULong alignment, CORBA_ULong position) { return -position & (alignment - 1); }

} // namespace

CORBA_MarshalOutBuffer::CORBA_MarshalOutBuffer(char* data, CORBA_ULong capacity, CORBA_Boolean own)
    : TRXostream(this), _data(data), _capacity(capacity), _own(own), _grown(0) {}

CORBA_MarshalOutBuffer::CORBA_MarshalOutBuffer(CORBA_ULong capacity, CORBA_Boolean own)
    : TRXostream(this), _data(CORBA_string_alloc(capacity)), _capacity(capacity), _own(own), _grown(1) {}

CORBA_MarshalOutBuffer::~CORBA_MarshalOutBuffer() {
    if (_own)
        CORBA_string_free(_data);
}

CORBA_Long CORBA_MarshalOutBuffer::position() const { return static_cast<CORBA_Long>(whole_size()); }

CORBA_ULong CORBA_MarshalOutBuffer::offset() const { return _offset; }

void CORBA_MarshalOutBuffer::reset_align() { _start = -_offset; }

void CORBA_MarshalOutBuffer::destroy() { delete this; }

void CORBA_MarshalOutBuffer::grow(CORBA_ULong count) {
    // Computed in 64 bits, because an overflow would give a small size.
    const uint64_t needed = uint64_t{_offset} + count;
    if (needed > maxOctets)
        throw CORBA_MARSHAL();
    // Doubled, so that the copying stays linear in the octets written.
    const uint64_t doubled = std::min(2 * uint64_t{_capacity}, maxOctets);
    const auto capacity = static_cast<CORBA_ULong>(std::max(doubled, needed));
    char* data = CORBA_string_alloc(capacity);
    if (_offset > 0)
        std::memcpy(data, _data, _offset);
    if (_own || _grown)
        CORBA_string_free(_data);
    else
        _own = 1; // the caller only frees the block that it passed in
    _data = data;
    _capacity = capacity;
    _grown = 1;
}

[[gnu::hot]] void CORBA_MarshalOutBuffer::write_borrowed(const unsigned char* octets, CORBA_ULong count) {
    constexpr CORBA_ULong worthIt = 32768; // below this a copy costs less than another part of a message
    if (!_borrowed.allowed || borrows() || count < worthIt) {
        if (count > 0)
            write(octets, count);
        return;
    }
    _borrowed.place = _offset;
    _borrowed.count = count;
    _borrowed.octets = reinterpret_cast<const char*>(octets);
    _start += count; // the next value is aligned after the borrowed octets
}

void CORBA_MarshalOutBuffer::copy_borrowed() {
    if (!borrows())
        return;
    const CORBA_ULong count = _borrowed.count;
    if (count > _capacity - _offset)
        make_room(count);
    char* const place = _data + _borrowed.place;
    std::memmove(place + count, place, _offset - _borrowed.place);
    std::memcpy(place, _borrowed.octets, count);
    _offset += count;
    _start -= count;
    _borrowed.count = 0;
}

// The octets before the borrowed ones, the borrowed octets, and those after them.
std::array<std::span<const char>, 3> CORBA_MarshalOutBuffer::parts() const {
    const std::span<const char> own(_data, _offset);
    if (!borrows())
        return {own};
    return {own.first(_borrowed.place), std::span(_borrowed.octets, _borrowed.count),
            own.subspan(_borrowed.place)};
}

[[gnu::hot]] void CORBA_MarshalOutBuffer::rewind() {
    _offset = 0;
    _start = 0;
    _borrowed = {};
    reset_typecodes();
}

void CORBA_MarshalOutBuffer::seek(CORBA_ULong offset) {
    copy_borrowed();
    // Octets beyond those written are undefined, but the caller may be about to write them.
    if (offset > _capacity)
        throw CORBA_BAD_PARAM();
    _start += _offset - offset; // keeps `align`
    _offset = offset;
}

void CORBA_MarshalOutBuffer::make_room(uint64_t count) {
    if (count > maxOctets)
        throw CORBA_MARSHAL();
    grow(static_cast<CORBA_ULong>(count));
}

// Pads, reserves `count` octets and returns a pointer to them; the caller fills them.
[[gnu::hot]] char* CORBA_MarshalOutBuffer::reserve(uint64_t count, CORBA_ULong alignment) {
    const CORBA_ULong padding = paddingTo(alignment, align());
    const uint64_t total = padding + count;
    if (total > _capacity - _offset)
        make_room(total);
    char* place = _data + _offset;
    // This ORB pads with spaces; readers ignore padding.
    std::fill_n(place, padding, ' ');
    _offset += static_cast<CORBA_ULong>(total);
    return place + padding;
}

template <class T>
TRXostream& CORBA_MarshalOutBuffer::put_array(const T* array, CORBA_ULong count) {
    const uint64_t octets = uint64_t{count} * sizeof(T);
    // This ORB aligns even for an empty array.
    char* place = reserve(octets, sizeof(T));
    // memcpy must not be called with the null pointer that an empty array may have.
    if (octets > 0)
        std::memcpy(place, array, octets);
    return *this;
}

// Writes an array whose elements are wider in memory than on the wire.
template <class Wire, class T>
TRXostream& CORBA_MarshalOutBuffer::put_narrowed(const T* array, CORBA_ULong count) {
    char* place = reserve(uint64_t{count} * sizeof(Wire), sizeof(Wire));
    for (CORBA_ULong i = 0; i < count; ++i) {
        const auto wire = static_cast<Wire>(array[i]);
        std::memcpy(place + i * sizeof wire, &wire, sizeof wire);
    }
    return *this;
}

// Writes length, text and NUL with a single bounds check.
TRXostream& CORBA_MarshalOutBuffer::put_text(const char* text) {
    // The length includes the NUL.
    const size_t size = std::strlen(text) + 1;
    const auto length = static_cast<CORBA_ULong>(size);
    const CORBA_ULong padding = paddingTo(sizeof length, align());
    const uint64_t total = uint64_t{padding} + sizeof length + size;
    if (total > _capacity - _offset) [[unlikely]]
        make_room(total);
    char* place = _data + _offset;
    constexpr uint32_t spaces = 0x20202020; // the length overwrites the surplus
    std::memcpy(place, &spaces, sizeof spaces);
    place += padding;
    std::memcpy(place, &length, sizeof length);
    std::memcpy(place + sizeof length, text, size);
    _offset += static_cast<CORBA_ULong>(total);
    return *this;
}

TRXostream& CORBA_MarshalOutBuffer::operator<<(const char* string) {
    if (string) [[likely]]
        return put_text(string);
    // CDR has no null strings: length 0 is an extension that both sides must support.
    if (!marshalSettings.nullString)
        throw CORBA_BAD_PARAM();
    return put_value(CORBA_ULong{0});
}

TRXostream& CORBA_MarshalOutBuffer::operator<<(const wchar_t* string) {
    // Wide strings have no null form: null is written as an empty string.
    const wchar_t* text = string ? string : L"";
    const size_t size = std::char_traits<wchar_t>::length(text) + 1;
    if (size > maxOctets)
        throw CORBA_MARSHAL();
    const auto count = static_cast<CORBA_ULong>(size);
    put_value(count);
    return put_narrowed<CORBA_UShort>(text, count);
}

TRXostream& CORBA_MarshalOutBuffer::write_raw(const char* octets, CORBA_ULong count) {
    if (count > _capacity - _offset) [[unlikely]]
        make_room(count);
    if (count > 0)
        std::memcpy(_data + _offset, octets, count);
    _offset += count;
    return *this;
}
[[gnu::hot]] TRXostream& CORBA_MarshalOutBuffer::write(const unsigned char* array, CORBA_ULong count) {
    return put_array(array, count);
}
// Elements are aligned one by one, so an empty array has no padding.
TRXostream& CORBA_MarshalOutBuffer::write(const wchar_t* array, CORBA_ULong count) {
    return count == 0 ? *this : put_narrowed<CORBA_UShort>(array, count);
}
TRXostream& CORBA_MarshalOutBuffer::write(const short* array, CORBA_ULong count) {
    return put_array(array, count);
}
TRXostream& CORBA_MarshalOutBuffer::write(const unsigned short* array, CORBA_ULong count) {
    return put_array(array, count);
}
TRXostream& CORBA_MarshalOutBuffer::write(const int* array, CORBA_ULong count) {
    return put_array(array, count);
}
TRXostream& CORBA_MarshalOutBuffer::write(const unsigned int* array, CORBA_ULong count) {
    return put_array(array, count);
}
TRXostream& CORBA_MarshalOutBuffer::write(const long* array, CORBA_ULong count) {
    return put_narrowed<CORBA_Long>(array, count);
}
TRXostream& CORBA_MarshalOutBuffer::write(const unsigned long* array, CORBA_ULong count) {
    return put_narrowed<CORBA_ULong>(array, count);
}
TRXostream& CORBA_MarshalOutBuffer::write(const float* array, CORBA_ULong count) {
    return put_array(array, count);
}
TRXostream& CORBA_MarshalOutBuffer::write(const double* array, CORBA_ULong count) {
    return put_array(array, count);
}
TRXostream& CORBA_MarshalOutBuffer::putCString(const char* string) {
    return CORBA_MarshalOutBuffer::operator<<(string);
}
TRXostream& CORBA_MarshalOutBuffer::write(const long long* array, CORBA_ULong count) {
    return put_array(array, count);
}
TRXostream& CORBA_MarshalOutBuffer::write(const unsigned long long* array, CORBA_ULong count) {
    return put_array(array, count);
}

[[gnu::hot]] CORBA_MarshalOutBuffer* CORBA_MarshalOutBuffer::_duplicate(CORBA_MarshalOutBuffer* buffer) {
    if (buffer)
        ++buffer->_ref_count;
    return buffer;
}

[[gnu::hot]] void release_buffer(CORBA_MarshalOutBuffer* buffer) {
    if (buffer && buffer->_ref_count-- == 1)
        buffer->destroy();
}

[[gnu::hot]] CORBA_MarshalInBuffer::CORBA_MarshalInBuffer(const char* data, CORBA_ULong size,
                                                          CORBA_Boolean own, CORBA_Octet byteOrder)
    : TRXistream(this), _data(const_cast<char*>(data)), _size(size), _own(own), _byte_order(byteOrder != 0) {}

[[gnu::hot]] CORBA_MarshalInBuffer::~CORBA_MarshalInBuffer() {
    if (_own)
        CORBA_string_free(_data);
}

CORBA_Long CORBA_MarshalInBuffer::position() const { return static_cast<CORBA_Long>(_offset); }

[[gnu::hot]] bool CORBA_MarshalInBuffer::has(CORBA_ULong count) const { return count <= left(); }

CORBA_ULong CORBA_MarshalInBuffer::size() const { return _size; }

void CORBA_MarshalInBuffer::reset_align() { _start = -_offset; }

void CORBA_MarshalInBuffer::underflow(CORBA_ULong) { throw CORBA_MARSHAL(); }

[[gnu::hot]] void CORBA_MarshalInBuffer::destroy() { delete this; }

void CORBA_MarshalInBuffer::rewind() {
    rewind_offset();
    reset_typecodes();
    _byte_order = hostByteOrder;
}

CORBA_ULong CORBA_MarshalInBuffer::seek(CORBA_ULong offset) {
    if (offset > _size)
        throw CORBA_BAD_PARAM();
    const CORBA_ULong old = _offset;
    _offset = offset;
    _start = 0;
    return old;
}

// Reports an underflow, whose argument has 32 bits only.
void CORBA_MarshalInBuffer::fail(uint64_t count) {
    underflow(static_cast<CORBA_ULong>(std::min(count, maxOctets)));
}

// Skips `count` octets and returns a pointer to them; null when they are not left and `underflow` returns.
const char* CORBA_MarshalInBuffer::take(uint64_t count) {
    if (count > left()) {
        fail(count);
        return nullptr;
    }
    const char* place = _data + _offset;
    _offset += static_cast<CORBA_ULong>(count);
    return place;
}

const char* CORBA_MarshalInBuffer::take_aligned(uint64_t count, CORBA_ULong alignment) {
    const CORBA_ULong padding = paddingTo(alignment, align());
    const char* place = take(padding + count);
    return place ? place + padding : nullptr;
}

template <class T>
TRXistream& CORBA_MarshalInBuffer::get_array(T* array, CORBA_ULong count) {
    const uint64_t octets = uint64_t{count} * sizeof(T);
    const CORBA_ULong padding = paddingTo(sizeof(T), align());
    if (padding + octets > left()) {
        // All or nothing: a truncated array gives zeros, and the position is unchanged.
        std::fill_n(array, count, T());
        fail(padding + octets);
        return *this;
    }
    const char* place = take(padding + octets) + padding;
    // Reversed while copying, so that each octet is touched once.
    if (sizeof(T) > 1 && _byte_order != hostByteOrder)
        copyReversed(array, place, count, sizeof(T));
    else if (octets > 0)
        std::memcpy(array, place, octets);
    return *this;
}

// Reads an array whose elements are wider in memory than on the wire.
template <class Wire, class T>
TRXistream& CORBA_MarshalInBuffer::get_widened_array(T* array, CORBA_ULong count) {
    const uint64_t octets = uint64_t{count} * sizeof(Wire);
    const CORBA_ULong padding = paddingTo(sizeof(Wire), align());
    if (padding + octets > left()) {
        std::fill_n(array, count, T());
        fail(padding + octets);
        return *this;
    }
    const char* place = take(padding + octets) + padding;
    for (CORBA_ULong i = 0; i < count; ++i) {
        Wire wire;
        std::memcpy(&wire, place + i * sizeof wire, sizeof wire);
        array[i] = static_cast<T>(_byte_order == hostByteOrder ? wire : reversed(wire));
    }
    return *this;
}

// Skips a string and returns a pointer to its text; null for a null string. Length and text are read in one
// step, so that the offset is loaded and stored once.
const char* CORBA_MarshalInBuffer::take_string(CORBA_ULong& length) {
    const CORBA_ULong head = paddingTo(sizeof length, align()) + CORBA_ULong{sizeof length};
    if (head > left()) [[unlikely]] {
        fail(head);
        return nullptr;
    }
    const char* place = _data + _offset + head;
    std::memcpy(&length, place - sizeof length, sizeof length);
    if (_byte_order != hostByteOrder)
        length = reversed(length);
    // Length 0 wraps around to the largest number, so a single comparison detects both special cases.
    if (length - 1 >= left() - head) [[unlikely]] // 0, or more than is left
        return take_odd_string(length, head);
    // Required where the text is used in place, because nothing else terminates it.
    if (_strings_end && place[length - 1] != '\0') [[unlikely]]
        throw CORBA_MARSHAL();
    _offset += head + length;
    return place;
}

// The slow path of take_string: a null string or a truncated one.
const char* CORBA_MarshalInBuffer::take_odd_string(CORBA_ULong length, CORBA_ULong head) {
    // Reported as an underflow before memory is allocated for the length that the peer claims.
    if (length > 0)
        fail(uint64_t{head} + length);
    else if (!marshalSettings.nullString)
        throw CORBA_MARSHAL();
    else
        _offset += head;
    return nullptr;
}

namespace {

char* copyOf(const char* place, CORBA_ULong length) {
    // `length` includes the peer's NUL. Another one is appended, because the peer may have sent none.
    char* string = CORBA_string_alloc(length);
    std::memcpy(string, place, length);
    string[length] = '\0';
    return string;
}

// Whether an owned string certainly has memory for `needed` octets: its capacity is unknown, but not its
// text.
bool hasMemoryFor(const char* string, size_t needed) {
    // The shared empty string is a constant and must not be written to.
    return string && string != TRXNullString && strnlen(string, needed - 1) == needed - 1;
}

} // namespace

TRXistream& CORBA_MarshalInBuffer::operator>>(char*& string) {
    string = nullptr;
    CORBA_ULong length = 0;
    if (const char* place = take_string(length))
        string = copyOf(place, length);
    return *this;
}

void CORBA_MarshalInBuffer::read_over(char*& string) {
    CORBA_ULong length = 0;
    const char* place = take_string(length);
    // A text that does not end with NUL needs one octet more than `length`.
    if (place && place[length - 1] == '\0' && hasMemoryFor(string, length))
        std::memcpy(string, place, length);
    else
        CORBA_string_free(std::exchange(string, place ? copyOf(place, length) : nullptr));
}

TRXistream& CORBA_MarshalInBuffer::operator>>(wchar_t*& string) {
    CORBA_ULong count = 0;
    get_value(count);
    // Tested before the allocation, which takes four octets for each two that were sent.
    if (uint64_t{count} * sizeof(CORBA_UShort) > left()) {
        fail(uint64_t{count} * sizeof(CORBA_UShort));
        return *this;
    }
    if (!string) {
        string = CORBA_wstring_alloc(count);
        string[count] = 0; // the peer may have sent no final zero
    }
    return CORBA_MarshalInBuffer::read(string, count);
}

char CORBA_MarshalInBuffer::get() {
    char octet = 0;
    get_value(octet);
    return octet;
}

TRXistream& CORBA_MarshalInBuffer::read_raw(char* octets, CORBA_ULong count) {
    return get_array(octets, count);
}
[[gnu::hot]] TRXistream& CORBA_MarshalInBuffer::read(unsigned char* array, CORBA_ULong count) {
    return get_array(array, count);
}
TRXistream& CORBA_MarshalInBuffer::read(wchar_t* array, CORBA_ULong count) {
    return count == 0 ? *this : get_widened_array<CORBA_UShort>(array, count);
}
TRXistream& CORBA_MarshalInBuffer::read(short* array, CORBA_ULong count) { return get_array(array, count); }
TRXistream& CORBA_MarshalInBuffer::read(unsigned short* array, CORBA_ULong count) {
    return get_array(array, count);
}
TRXistream& CORBA_MarshalInBuffer::read(int* array, CORBA_ULong count) { return get_array(array, count); }
TRXistream& CORBA_MarshalInBuffer::read(unsigned int* array, CORBA_ULong count) {
    return get_array(array, count);
}
TRXistream& CORBA_MarshalInBuffer::read(long* array, CORBA_ULong count) {
    return get_widened_array<CORBA_Long>(array, count);
}
TRXistream& CORBA_MarshalInBuffer::read(unsigned long* array, CORBA_ULong count) {
    return get_widened_array<CORBA_ULong>(array, count);
}
TRXistream& CORBA_MarshalInBuffer::read(float* array, CORBA_ULong count) { return get_array(array, count); }
TRXistream& CORBA_MarshalInBuffer::read(double* array, CORBA_ULong count) { return get_array(array, count); }

TRXistream& CORBA_MarshalInBuffer::getCString(char* buffer, CORBA_ULong size) {
    CORBA_ULong length = 0;
    get_value(length);
    const CORBA_ULong copied = std::min(length, size);
    // The whole string is consumed, even if it does not fit in the buffer.
    const char* place = take(length);
    if (!place) {
        std::fill_n(buffer, copied, '\0');
        return *this;
    }
    std::copy_n(place, copied, buffer);
    if (length < size)
        buffer[length] = '\0';
    return *this;
}

TRXistream& CORBA_MarshalInBuffer::read(long long* array, CORBA_ULong count) {
    return get_array(array, count);
}
TRXistream& CORBA_MarshalInBuffer::read(unsigned long long* array, CORBA_ULong count) {
    return get_array(array, count);
}

[[gnu::hot]] const unsigned char* CORBA_MarshalInBuffer::octets_in_place(CORBA_ULong& length) {
    length = 0;
    get_value(length);
    return length == 0 ? nullptr : reinterpret_cast<const unsigned char*>(take(length));
}

const CORBA_ULong* CORBA_MarshalInBuffer::words_in_place(CORBA_ULong& count) {
    count = 0;
    get_value(count);
    if (count == 0)
        return nullptr;
    const char* place = take_aligned(uint64_t{count} * sizeof(CORBA_ULong), sizeof(CORBA_ULong));
    // Alignment in the stream does not imply alignment in memory, because the buffer may begin anywhere.
    if (reinterpret_cast<uintptr_t>(place) % alignof(CORBA_ULong) != 0)
        throw CORBA_MARSHAL();
    return reinterpret_cast<const CORBA_ULong*>(place);
}

const char* CORBA_MarshalInBuffer::string_in_place() {
    CORBA_ULong length = 0;
    const char* place = take_string(length);
    if (place && place[length - 1] != '\0')
        throw CORBA_MARSHAL();
    return place;
}

[[gnu::hot]] CORBA_MarshalInBuffer* CORBA_MarshalInBuffer::_duplicate(CORBA_MarshalInBuffer* buffer) {
    if (buffer)
        ++buffer->_ref_count;
    return buffer;
}

[[gnu::hot]] void release_buffer(CORBA_MarshalInBuffer* buffer) {
    if (buffer && buffer->_ref_count-- == 1)
        buffer->destroy();
}
