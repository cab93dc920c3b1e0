#pragma once

#include "base/free_list.h"
#include "base/refcount.h"
#include "marshal/cdr/vbuf.h"

namespace harbolance {

// Memory that octets are received into. It is counted, since several messages may stand in one, each of which
// keeps it.
class ReceiveBlock : public TRXResource {
public:
    char* data() const { return _data; }
    size_t capacity() const { return _capacity; }

protected:
    ReceiveBlock(char* data, size_t capacity) : _data(data), _capacity(capacity) {}

    char* _data;
    size_t _capacity;
};

// Of the one size that takes most messages.
class SmallReceiveBlock final : public ReceiveBlock, public FreeListed<SmallReceiveBlock> {
public:
    static constexpr size_t size = 8192;

    SmallReceiveBlock() : ReceiveBlock(_memory, size) {}

private:
    char _memory[size];
};

// For one large message. It grows while the message comes in; without memory it raises CORBA_NO_RESOURCES.
// The memory of one such block is kept for the next, up to 2 MiB.
class LargeReceiveBlock final : public ReceiveBlock {
public:
    explicit LargeReceiveBlock(size_t capacity);
    ~LargeReceiveBlock() override;

    void grow(size_t capacity);
};

} // namespace harbolance

// The body of a received message, or a part of any other memory that it keeps.
class TRXMarshalInBuffer final : public CORBA_MarshalInBuffer,
                                 public harbolance::FreeListed<TRXMarshalInBuffer> {
public:
    // Alignment counts from `start`.
    TRXMarshalInBuffer(TRXRef<harbolance::ReceiveBlock> block, const char* octets, CORBA_ULong size,
                       CORBA_Octet byteOrder, CORBA_ULong start);

private:
    TRXRef<harbolance::ReceiveBlock> _block;
};

using TRXMarshalInBuffer_var = TRXVar<TRXMarshalInBuffer>;
