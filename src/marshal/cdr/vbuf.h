#pragma once

#include "marshal/cdr/byte_order.h"
#include "marshal/text/vstream.h"
#include "marshal/var.h"

#include <array>
#include <cstring>
#include <span>
#include <type_traits>

namespace harbolance {
class MembersReader;
template <class... T>
class Members;
} // namespace harbolance

// CDR in memory. A value of s octets is aligned to a multiple of s, counted from the start of the stream,
// with padding of 0x20. `offset` is the index of the next octet in the buffer, `align` its position in the
// stream. They differ when the buffer holds only a part of the stream, such as a message body without its
// header. Both are below 2^32.
//
// Buffers are reference-counted and start with one reference. A buffer on the stack must never be released.

// Writes in the host's byte order, which the enclosing message or encapsulation declares. Grows as needed.
class CORBA_MarshalOutBuffer : public TRXostream {
public:
    // Writes to the caller's memory; with `own` the buffer takes ownership of memory from CORBA_string_alloc.
    // A buffer that outgrows borrowed memory moves to memory of its own.
    CORBA_MarshalOutBuffer(char* data, CORBA_ULong capacity, CORBA_Boolean own);
    // Without `own` the caller frees `data()` with CORBA_string_free.
    explicit CORBA_MarshalOutBuffer(CORBA_ULong capacity, CORBA_Boolean own = 1);
    ~CORBA_MarshalOutBuffer() override;

    CORBA_Long position() const override;

    using TRXostream::operator<<;
    // A null pointer raises CORBA_BAD_PARAM unless null strings are switched on.
    TRXostream& operator<<(const char* string) override;
    TRXostream& operator<<(char value) override { return put_value(value); }
    TRXostream& operator<<(unsigned char value) override { return put_value(value); }
    TRXostream& operator<<(short value) override { return put_value(value); }
    TRXostream& operator<<(unsigned short value) override { return put_value(value); }
    TRXostream& operator<<(int value) override { return put_value(value); }
    [[gnu::hot]] TRXostream& operator<<(unsigned int value) override { return put_value(value); }
    TRXostream& operator<<(long value) override { return put_value(static_cast<CORBA_Long>(value)); }
    TRXostream& operator<<(unsigned long value) override {
        return put_value(static_cast<CORBA_ULong>(value));
    }
    TRXostream& operator<<(float value) override { return put_value(value); }
    TRXostream& operator<<(double value) override { return put_value(value); }
    TRXostream& operator<<(long long value) override { return put_value(value); }
    TRXostream& operator<<(unsigned long long value) override { return put_value(value); }
    TRXostream& operator<<(wchar_t value) override { return put_value(static_cast<CORBA_UShort>(value)); }
    TRXostream& operator<<(const wchar_t* string) override;

    TRXostream& put(char octet) override { return put_value(octet); }
    TRXostream& write_raw(const char* octets, CORBA_ULong count) override;
    TRXostream& write(const unsigned char* array, CORBA_ULong count) override;
    TRXostream& write(const wchar_t* array, CORBA_ULong count) override;
    TRXostream& write(const short* array, CORBA_ULong count) override;
    TRXostream& write(const unsigned short* array, CORBA_ULong count) override;
    TRXostream& write(const int* array, CORBA_ULong count) override;
    TRXostream& write(const unsigned int* array, CORBA_ULong count) override;
    TRXostream& write(const long* array, CORBA_ULong count) override;
    TRXostream& write(const unsigned long* array, CORBA_ULong count) override;
    TRXostream& write(const float* array, CORBA_ULong count) override;
    TRXostream& write(const double* array, CORBA_ULong count) override;
    TRXostream& putCString(const char* string) override;
    TRXostream& write(const long long* array, CORBA_ULong count) override;
    TRXostream& write(const unsigned long long* array, CORBA_ULong count) override;

    virtual CORBA_ULong offset() const; // how many octets have been written
    virtual void reset_align();         // alignment counts from the next octet on
    virtual void destroy();             // destroys the object and frees its memory
    // Ensures capacity for `count` octets at the offset. Raises CORBA_MARSHAL beyond 2^32 octets.
    virtual void grow(CORBA_ULong count);

    char* data() const { return _data; }
    CORBA_ULong capacity() const { return _capacity; }
    CORBA_Boolean own() const { return _own; }
    void own(CORBA_Boolean own) { _own = own; }
    CORBA_ULong align() const { return _start + _offset; }
    void align(CORBA_ULong align) { _start = align - _offset; }

    // The octets of an object, without alignment.
    template <class T>
    void append(const T& object);

    void rewind();                    // to an empty stream, without stored TypeCodes
    void rewind_offset() { seek(0); } // to offset 0; `align` is unchanged
    void seek(CORBA_ULong offset);    // `align` is unchanged; raises CORBA_BAD_PARAM beyond the capacity

    // --- Octets that stay with the caller
    //
    // Copying many octets costs about as much as sending them. A buffer that may borrow stores a pointer to
    // the caller's octets instead; `data` and `offset` then exclude them. The code that allows borrowing must
    // send all `parts`, or call `copy_borrowed`, before the octets may change.
    void allow_borrowing() { _borrowed.allowed = true; }                 // until `rewind`
    void write_borrowed(const unsigned char* octets, CORBA_ULong count); // short ones are copied
    void copy_borrowed();
    bool borrows() const { return _borrowed.count > 0; }
    std::array<std::span<const char>, 3> parts() const;
    uint64_t whole_size() const { return uint64_t{_offset} + _borrowed.count; } // of all parts

    static CORBA_MarshalOutBuffer* _duplicate(CORBA_MarshalOutBuffer* buffer);
    CORBA_Long _refcount() const { return _ref_count; }
    friend void release_buffer(CORBA_MarshalOutBuffer* buffer);

protected:
    // For a derived class with its own operators for numbers or strings: from now on all of them are called,
    // also for the members of structs, which are otherwise written in one step (members.h).
    void demand_single_values() { _single_values = true; }

private:
    template <class... T>
    friend class harbolance::Members;
    bool takes_members(size_t most) const { return most <= _capacity - _offset && !_single_values; }

    template <class T>
    TRXostream& put_value(T value);
    template <class T>
    TRXostream& put_array(const T* array, CORBA_ULong count);
    template <class Wire, class T>
    TRXostream& put_narrowed(const T* array, CORBA_ULong count);
    void make_room(uint64_t count);
    char* reserve(uint64_t count, CORBA_ULong alignment);
    TRXostream& put_text(const char* text);

    char* _data;
    CORBA_ULong _capacity;
    CORBA_ULong _offset = 0;
    CORBA_ULong _start = 0; // the stream position of the first octet of `_data`, modulo 2^32
    CORBA_Boolean _own;
    CORBA_Long _ref_count = 1;
    CORBA_Boolean _grown; // `_data` was allocated here
    bool _single_values = false;
    struct {
        bool allowed = false;
        CORBA_ULong place = 0; // offset in `_data` at which the octets belong
        CORBA_ULong count = 0;
        const char* octets = nullptr;
    } _borrowed; // at most once per message: most requests have a single large argument
};

using CORBA_MarshalOutBuffer_ptr = CORBA_MarshalOutBuffer*;

// Reads either byte order. Reading past the end raises CORBA_MARSHAL: a target provided by the caller is set
// to zeros, and nothing is allocated.
class CORBA_MarshalInBuffer : public TRXistream {
public:
    // Reads the caller's memory; with `own` the buffer takes ownership of memory from CORBA_string_alloc.
    CORBA_MarshalInBuffer(const char* data, CORBA_ULong size, CORBA_Boolean own = 0,
                          CORBA_Octet byteOrder = harbolance::hostByteOrder);
    ~CORBA_MarshalInBuffer() override;

    CORBA_Long position() const override;

    // Length 0 raises CORBA_MARSHAL, or gives null when null strings are switched on. The result always ends
    // with a NUL, even if the peer sent none.
    TRXistream& operator>>(char*& string) override;
    TRXistream& operator>>(char& value) override { return get_value(value); }
    TRXistream& operator>>(unsigned char& value) override { return get_value(value); }
    TRXistream& operator>>(short& value) override { return get_value(value); }
    TRXistream& operator>>(unsigned short& value) override { return get_value(value); }
    TRXistream& operator>>(int& value) override { return get_value(value); }
    [[gnu::hot]] TRXistream& operator>>(unsigned int& value) override { return get_value(value); }
    TRXistream& operator>>(long& value) override { return get_widened<CORBA_Long>(value); }
    TRXistream& operator>>(unsigned long& value) override { return get_widened<CORBA_ULong>(value); }
    TRXistream& operator>>(float& value) override { return get_value(value); }
    TRXistream& operator>>(double& value) override { return get_value(value); }
    TRXistream& operator>>(long long& value) override { return get_value(value); }
    TRXistream& operator>>(unsigned long long& value) override { return get_value(value); }
    TRXistream& operator>>(wchar_t& value) override { return get_widened<CORBA_UShort>(value); }
    TRXistream& operator>>(wchar_t*& string) override;

    char get() override;
    TRXistream& get(char& octet) override { return get_value(octet); }
    TRXistream& get(unsigned char& octet) override { return get_value(octet); }
    TRXistream& read_raw(char* octets, CORBA_ULong count) override;
    TRXistream& read(unsigned char* array, CORBA_ULong count) override;
    TRXistream& read(wchar_t* array, CORBA_ULong count) override;
    TRXistream& read(short* array, CORBA_ULong count) override;
    TRXistream& read(unsigned short* array, CORBA_ULong count) override;
    TRXistream& read(int* array, CORBA_ULong count) override;
    TRXistream& read(unsigned int* array, CORBA_ULong count) override;
    TRXistream& read(long* array, CORBA_ULong count) override;
    TRXistream& read(unsigned long* array, CORBA_ULong count) override;
    TRXistream& read(float* array, CORBA_ULong count) override;
    TRXistream& read(double* array, CORBA_ULong count) override;
    // A string whose length with its NUL is `size` or more fills the buffer, and no NUL is appended; the rest
    // is skipped.
    TRXistream& getCString(char* buffer, CORBA_ULong size) override;
    TRXistream& read(long long* array, CORBA_ULong count) override;
    TRXistream& read(unsigned long long* array, CORBA_ULong count) override;
    bool has(CORBA_ULong count) const override;

    // Reads a length and skips that many octets without copying them: returns a pointer into `data`, null for
    // length 0.
    virtual const unsigned char* octets_in_place(CORBA_ULong& length);
    // The same for a count of 32-bit words, which stay in the buffer's byte order. Also raises CORBA_MARSHAL
    // when they are not aligned in memory.
    virtual const CORBA_ULong* words_in_place(CORBA_ULong& count);
    virtual CORBA_ULong size() const;
    virtual void reset_align(); // alignment counts from the next octet on
    // Called when `count` octets are needed and not left. Raises CORBA_MARSHAL.
    virtual void underflow(CORBA_ULong count);
    virtual void destroy(); // destroys the object and frees its memory

    // The same for a string; null for length 0. A string that does not end with NUL raises CORBA_MARSHAL.
    const char* string_in_place();
    // Replaces an owned string by the next one: in the same memory if the old text is long enough, else in
    // new memory. When this raises, the old string is kept.
    void read_over(char*& string);

    char* data() const { return _data; }
    CORBA_ULong offset() const { return _offset; }
    CORBA_ULong align() const { return _start + _offset; }
    void align(CORBA_ULong align) { _start = align - _offset; }
    CORBA_Boolean own() const { return _own; }
    void own(CORBA_Boolean own) { _own = own; }
    CORBA_Octet byte_order() const { return _byte_order; }
    void byte_order(CORBA_Octet order) { _byte_order = order != 0; } // 0 big-endian, else little-endian

    // From now on a string that does not end with NUL raises CORBA_MARSHAL.
    void demand_string_ends() { _strings_end = true; }

    void rewind(); // to offset 0 and the host's order, without stored TypeCodes
    void rewind_offset() { _offset = _start = 0; }
    // Sets offset and stream position to `offset` and returns the old offset. Beyond the size raises
    // CORBA_BAD_PARAM.
    CORBA_ULong seek(CORBA_ULong offset);

    static CORBA_MarshalInBuffer* _duplicate(CORBA_MarshalInBuffer* buffer);
    CORBA_Long _refcount() const { return _ref_count; }
    friend void release_buffer(CORBA_MarshalInBuffer* buffer);

protected:
    void size(CORBA_ULong size) { _size = size; } // never more than `data` holds

private:
    friend class harbolance::MembersReader;
    CORBA_ULong left() const { return _size - _offset; }
    template <class T>
    TRXistream& get_value(T& value);
    template <class Wire, class T>
    TRXistream& get_widened(T& value);
    template <class T>
    TRXistream& get_array(T* array, CORBA_ULong count);
    template <class Wire, class T>
    TRXistream& get_widened_array(T* array, CORBA_ULong count);
    const char* take(uint64_t count);
    const char* take_aligned(uint64_t count, CORBA_ULong alignment);
    const char* take_string(CORBA_ULong& length);
    const char* take_odd_string(CORBA_ULong length, CORBA_ULong head);
    void fail(uint64_t count);

    char* _data;
    CORBA_ULong _size;
    CORBA_ULong _offset = 0;
    CORBA_ULong _start = 0; // the stream position of the first octet of `_data`, modulo 2^32
    CORBA_Boolean _own;
    CORBA_Octet _byte_order;
    bool _strings_end = false;
    CORBA_Long _ref_count = 1;
};

using CORBA_MarshalInBuffer_ptr = CORBA_MarshalInBuffer*;

// Release one reference; null is accepted.
void release_buffer(CORBA_MarshalOutBuffer* buffer);
void release_buffer(CORBA_MarshalInBuffer* buffer);
inline void CORBA_release(CORBA_MarshalOutBuffer* buffer) { release_buffer(buffer); }
inline void CORBA_release(CORBA_MarshalInBuffer* buffer) { release_buffer(buffer); }

using CORBA_MarshalOutBuffer_var = TRXVar<CORBA_MarshalOutBuffer>;
using CORBA_MarshalInBuffer_var = TRXVar<CORBA_MarshalInBuffer>;

// Fast path for primitives. `_offset` is the only loop-carried dependency, so the bounds check is kept off
// that chain.
template <class T>
[[gnu::hot]] TRXostream& CORBA_MarshalOutBuffer::put_value(T value) {
    constexpr CORBA_ULong size = sizeof(T);
    // Alignment counts in the stream, not in the buffer. All of this is modulo 2^32, like `_start`.
    const CORBA_ULong begin = ((_offset + _start + (size - 1)) & ~(size - 1)) - _start;
    const CORBA_ULong total = begin - _offset + size;
    if (_capacity - _offset < total) [[unlikely]]
        grow(total);
    if constexpr (size > 1) {
        // Writes sizeof(T) pad octets; the value then overwrites the surplus.
        constexpr uint64_t padding = 0x2020202020202020u;
        std::memcpy(_data + _offset, &padding, size);
    }
    std::memcpy(_data + begin, &value, size);
    _offset = begin + size;
    return *this;
}

template <class T>
void CORBA_MarshalOutBuffer::append(const T& object) {
    static_assert(std::is_trivially_copyable_v<T>);
    if (_capacity - _offset < sizeof object) [[unlikely]]
        grow(sizeof object);
    std::memcpy(_data + _offset, &object, sizeof object);
    _offset += CORBA_ULong{sizeof object};
}

template <class T>
TRXistream& CORBA_MarshalInBuffer::get_value(T& value) {
    constexpr CORBA_ULong size = sizeof(T);
    const CORBA_ULong begin = ((_offset + _start + (size - 1)) & ~(size - 1)) - _start;
    const CORBA_ULong total = begin - _offset + size;
    if (left() < total) [[unlikely]] {
        // Set first, because `fail` raises and the caller's variable must not keep an old value.
        value = T();
        fail(total);
        return *this;
    }
    T taken;
    std::memcpy(&taken, _data + begin, size);
    value = _byte_order == harbolance::hostByteOrder ? taken : harbolance::reversed(taken);
    _offset = begin + size;
    return *this;
}

template <class Wire, class T>
TRXistream& CORBA_MarshalInBuffer::get_widened(T& value) {
    Wire wire;
    get_value(wire);
    value = static_cast<T>(wire);
    return *this;
}
