#include "invoke/giop/message_reader.h"

#include "invoke/transport/vconn.h"

#include <algorithm>
#include <cstring>

namespace harbolance {

namespace {

constexpr size_t headerSize = GIOP::messageHeaderSize;
constexpr size_t largeStep = 65536;

uint64_t wholeSize(const GIOP::MessageHeader& header) { return uint64_t{headerSize} + header.message_size; }

} // namespace

[[gnu::hot]] bool MessageReader::fill(TRXConnection& connection) {
    makeRoom();
    const size_t asked = room();
    const size_t count = connection.receive_available(_block->data() + _end, asked);
    _end += count;
    _received += count;
    skipReceived();
    look();
    return count < asked;
}

[[gnu::hot]] TRXMarshalInBuffer* MessageReader::take(GIOP::MessageHeader& header) {
    if (!_ready)
        return nullptr;
    header = _next;
    if (!header.is_valid()) {
        _begin += headerSize;
        _skip = header.message_size;
        skipReceived();
        look();
        return nullptr;
    }
    auto* body = new TRXMarshalInBuffer(_block, _block->data() + _begin + headerSize, header.message_size,
                                        header.byte_order != 0, headerSize);
    _begin += headerSize + header.message_size;
    if (_large) {
        _block = {};
        _large = nullptr;
        _begin = _end = 0;
    }
    look();
    return body;
}

// Examines the next message; called after each change of the buffer.
[[gnu::hot]] void MessageReader::look() {
    _announced = _skip == 0 && _end - _begin >= headerSize;
    _ready = false;
    if (!_announced)
        return;
    std::memcpy(&_next, _block->data() + _begin, headerSize);
    if ((_next.byte_order != 0) != (hostByteOrder != 0))
        _next.message_size = reversed(_next.message_size);
    _ready = !_next.is_valid() || _end - _begin >= wholeSize(_next);
}

// Makes space for at least one octet, and for all of a message that fits in a small block.
[[gnu::hot]] void MessageReader::makeRoom() {
    const bool shared = _block && _block->_refcount() > 1;
    const size_t have = _end - _begin;
    if (have == 0) {
        if (!_block || shared)
            _block = TRXRef<ReceiveBlock>(new SmallReceiveBlock);
        _begin = _end = 0;
        return;
    }
    if (_large) {
        if (_end == _large->capacity())
            _large->grow(static_cast<size_t>(std::min<uint64_t>(_needed, 2 * _large->capacity())));
        return;
    }
    const uint64_t needed = _announced ? wholeSize(_next) : headerSize;
    if (_begin + needed <= _block->capacity())
        return;
    if (needed <= SmallReceiveBlock::size) {
        if (!shared) {
            std::memmove(_block->data(), _block->data() + _begin, have);
            _begin = 0;
            _end = have;
        } else {
            moveTo(TRXRef<ReceiveBlock>(new SmallReceiveBlock));
        }
        return;
    }
    _large = new LargeReceiveBlock(static_cast<size_t>(std::min<uint64_t>(needed, largeStep)));
    _needed = needed;
    moveTo(TRXRef<ReceiveBlock>(_large));
}

void MessageReader::moveTo(TRXRef<ReceiveBlock> block) {
    const size_t have = _end - _begin;
    std::memcpy(block->data(), _block->data() + _begin, have);
    _block = std::move(block);
    _begin = 0;
    _end = have;
}

// Nothing is received beyond a large message, so that nothing behind it must be copied out again.
size_t MessageReader::room() const {
    const uint64_t whole = _large ? std::min<uint64_t>(_needed, _block->capacity()) : _block->capacity();
    return static_cast<size_t>(whole) - _end;
}

void MessageReader::skipReceived() {
    const uint64_t count = std::min<uint64_t>(_skip, _end - _begin);
    _begin += static_cast<size_t>(count);
    _skip -= count;
}

} // namespace harbolance
