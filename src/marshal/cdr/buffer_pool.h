#pragma once

#include "marshal/cdr/vbuf.h"
#include "marshal/var.h"

#include <utility>

// Keeps one buffer for the next call, so that a common request allocates none. While it is in use (a call
// made while a reply is handled), `take` returns a new buffer that is not pooled.
//
// Buffer derives from one of the marshal buffers and has
//     explicit Buffer(CORBA_ULong size);   // of that capacity
//     CORBA_ULong capacity() const;
//     void recycle(CORBA_ULong size);      // resets a used buffer to the state of a new one of that size
template <class Buffer>
class TRXBufferPool {
public:
    static constexpr CORBA_ULong largest = 4096; // larger buffers are never pooled

    TRXBufferPool() = default;
    TRXBufferPool(const TRXBufferPool&) = delete;
    TRXBufferPool& operator=(const TRXBufferPool&) = delete;
    ~TRXBufferPool() { drop(); }

    // The caller owns one reference.
    Buffer* take(CORBA_ULong size) {
        const bool inUse = _cached && _cached->_refcount() > 1;
        if (size > largest || inUse)
            return new Buffer(size);
        if (_cached && _cached->capacity() < size)
            drop();
        if (_cached)
            _cached->recycle(size);
        else
            _cached = new Buffer(size);
        Buffer::_duplicate(_cached);
        return _cached;
    }

    // Releases the pool's reference.
    void drop() { release_buffer(std::exchange(_cached, nullptr)); }

    const Buffer* cached() const { return _cached; }

private:
    Buffer* _cached = nullptr;
};

// A message as it came from a connection. The connection fills `data()` with `size()` octets.
class TRXMarshalInBuffer : public CORBA_MarshalInBuffer {
public:
    using Pool = TRXBufferPool<TRXMarshalInBuffer>;

    // Not pooled, so that later messages do not overwrite it. `align` starts at `start`.
    explicit TRXMarshalInBuffer(CORBA_ULong size, CORBA_ULong start = 0);

    // From the pool; the caller owns one reference.
    static TRXMarshalInBuffer* create(CORBA_ULong size, CORBA_ULong start = 0, Pool& pool = processPool());
    static Pool& processPool();

    CORBA_ULong capacity() const { return _capacity; }
    void recycle(CORBA_ULong size);

private:
    // May be larger than `size()`, beyond which the octets of an earlier message cannot be read.
    CORBA_ULong _capacity;
};

using CORBA_MarshalOutBuffer_var = TRXVar<CORBA_MarshalOutBuffer>;
using CORBA_MarshalInBuffer_var = TRXVar<CORBA_MarshalInBuffer>;
using TRXMarshalInBuffer_var = TRXVar<TRXMarshalInBuffer>;
