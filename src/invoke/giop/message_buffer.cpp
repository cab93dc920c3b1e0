#include "invoke/giop/message_buffer.h"

#include "marshal/exception/vexcept.h"

#include <cerrno>
#include <cstdlib>
#include <utility>

namespace harbolance {

namespace {

char* resized(char* memory, size_t capacity) {
    void* grown = std::realloc(memory, capacity);
    if (!grown)
        throw CORBA_NO_RESOURCES(static_cast<CORBA_ULong>(errno), COMPLETED_NO);
    return static_cast<char*>(grown);
}

constexpr size_t mostSpare = size_t{2} << 20;

// The memory of a destroyed block, kept because new pages cost more than receiving into them.
struct Spare {
    char* memory = nullptr;
    size_t capacity = 0;
};
constinit Spare spare;

} // namespace

LargeReceiveBlock::LargeReceiveBlock(size_t capacity) : ReceiveBlock(nullptr, 0) {
    if (capacity <= spare.capacity) {
        _data = std::exchange(spare.memory, nullptr);
        _capacity = std::exchange(spare.capacity, 0);
    } else {
        _data = resized(nullptr, capacity);
        _capacity = capacity;
    }
}

LargeReceiveBlock::~LargeReceiveBlock() {
    if (_capacity <= mostSpare && _capacity > spare.capacity) {
        std::swap(_data, spare.memory);
        std::swap(_capacity, spare.capacity);
    }
    std::free(_data);
}

void LargeReceiveBlock::grow(size_t capacity) {
    _data = resized(_data, capacity);
    _capacity = capacity;
}

} // namespace harbolance

[[gnu::hot]] TRXMarshalInBuffer::TRXMarshalInBuffer(TRXRef<harbolance::ReceiveBlock> block,
                                                    const char* octets, CORBA_ULong size,
                                                    CORBA_Octet byteOrder, CORBA_ULong start)
    : CORBA_MarshalInBuffer(octets, size, 0, byteOrder), _block(std::move(block)) {
    align(start);
    demand_string_ends();
}
