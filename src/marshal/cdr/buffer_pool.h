#pragma once

#include "marshal/cdr/vbuf.h"
#include "marshal/var.h"

#include <utility>

// Keeps one buffer for the next call, so that a common request allocates none. While it is in use (by a call
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
        // Beside the pool's own reference, a call whose reply is being handled holds one.
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
