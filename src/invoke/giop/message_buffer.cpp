#include "invoke/giop/message_buffer.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace harbolance {

namespace {

char* resized(char* memory, size_t capacity) {
    void* grown = std::realloc(memory, capacity);
    if (!grown)
        throw std::bad_alloc();
    return static_cast<char*>(grown);
}

} // namespace

LargeReceiveBlock::LargeReceiveBlock(size_t capacity) : ReceiveBlock(resized(nullptr, capacity), capacity) {}

LargeReceiveBlock::~LargeReceiveBlock() { std::free(_data); }

void LargeReceiveBlock::grow(size_t capacity) {
    _data = resized(_data, capacity);
    _capacity = capacity;
}

} // namespace harbolance

TRXMarshalInBuffer::TRXMarshalInBuffer(TRXRef<harbolance::ReceiveBlock> block, const char* octets,
                                       CORBA_ULong size, CORBA_Octet byteOrder, CORBA_ULong start)
    : CORBA_MarshalInBuffer(octets, size, 0, byteOrder), _block(std::move(block)) {
    align(start);
    demand_string_ends();
}
