#pragma once

#include "base/free_list.h"
#include "base/refcount.h"
#include "marshal/cdr/vbuf.h"

namespace harbolance {

// Memory for received octets. It is reference-counted, because it may contain several messages, each of which
// holds it.
class ReceiveBlock : public TRXResource {
public:
    char* data() const { return _data; }
    size_t capacity() const { return _capacity; }

protected:
    ReceiveBlock(char* data, size_t capacity) : _data(data), _capacity(capacity) {}

    char* _data;
    size_t _capacity;
};

// A block of the size that is enough for most messages.
class SmallReceiveBlock final : public ReceiveBlock, public FreeListed<SmallReceiveBlock> {
public:
    static constexpr size_t size = 8192;

    SmallReceiveBlock() : ReceiveBlock(_memory, size) {}

private:
    char _memory[size];
};

// A block for one large message, which grows while the message arrives; raises CORBA_NO_RESOURCES without
// memory. The memory of one destroyed block, up to 2 MiB, is kept for the next.
class LargeReceiveBlock final : public ReceiveBlock {
public:
    explicit LargeReceiveBlock(size_t capacity);
    ~LargeReceiveBlock() override;

    void grow(size_t capacity);
};

} // namespace harbolance

// The body of a received message, or a part of other memory; it holds the block.
class TRXMarshalInBuffer final : public CORBA_MarshalInBuffer,
                                 public harbolance::FreeListed<TRXMarshalInBuffer> {
public:
    // `start` is the stream position of the first octet, for alignment.
    TRXMarshalInBuffer(TRXRef<harbolance::ReceiveBlock> block, const char* octets, CORBA_ULong size,
                       CORBA_Octet byteOrder, CORBA_ULong start);

private:
    TRXRef<harbolance::ReceiveBlock> _block;
};

using TRXMarshalInBuffer_var = TRXVar<TRXMarshalInBuffer>;
