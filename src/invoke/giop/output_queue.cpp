#include "invoke/giop/output_queue.h"

#include "invoke/transport/vconn.h"

#include <algorithm>
#include <array>
#include <span>

namespace harbolance {

namespace {

size_t transmit(TRXConnection& connection, const CORBA_MarshalOutBuffer& message, bool more) {
    if (!message.borrows()) {
        const iovec whole{message.data(), message.offset()};
        return connection.transmit_available(&whole, 1, more);
    }
    std::array<iovec, 3> parts;
    int count = 0;
    for (const std::span<const char> part : message.parts()) {
        if (!part.empty())
            parts[static_cast<size_t>(count++)] = {const_cast<char*>(part.data()), part.size()};
    }
    return connection.transmit_available(parts.data(), count, more);
}

} // namespace

[[gnu::hot]] OutputQueue::Ticket OutputQueue::send(TRXConnection& connection, CORBA_MarshalOutBuffer* message,
                                                   bool more) {
    size_t written = 0;
    if (_messages.empty()) {
        written = transmit(connection, *message, more);
        if (written == message->whole_size())
            return _lastLeft = ++_lastTicket;
    }
    try {
        message->copy_borrowed(); // the caller may free the borrowed octets when this returns
        _messages.push_back({_lastTicket + 1, message, nullptr});
    } catch (...) {
        // A message that is partly sent cannot be completed without memory for its rest, so the stream is
        // ended.
        if (written > 0)
            connection.break_off();
        throw;
    }
    CORBA_MarshalOutBuffer::_duplicate(message);
    ++_lastTicket;
    if (written > 0)
        _begun = written;
    _size += message->offset() - written;
    _written += written;
    return _lastTicket;
}

// Searches by ticket; tickets ascend in the queue. Returns end() when the message has been sent.
std::deque<OutputQueue::Message>::iterator OutputQueue::find(Ticket ticket) {
    const auto found =
        std::lower_bound(_messages.begin(), _messages.end(), ticket,
                         [](const Message& message, Ticket sought) { return message.ticket < sought; });
    return found != _messages.end() && found->ticket == ticket ? found : _messages.end();
}

void OutputQueue::observe(Ticket ticket, OutputObserver* observer) {
    const auto found = find(ticket);
    if (found != _messages.end())
        found->observer = observer;
}

void OutputQueue::advance(TRXConnection& connection) {
    constexpr size_t most = 16; // messages in one system call
    while (!_messages.empty()) {
        std::array<iovec, most> parts;
        const size_t count = std::min(most, _messages.size());
        size_t total = 0;
        for (size_t i = 0; i < count; ++i) {
            const CORBA_MarshalOutBuffer& buffer = *_messages[i].buffer;
            const size_t begun = i == 0 ? _begun : 0;
            parts[i] = {buffer.data() + begun, buffer.offset() - begun};
            total += parts[i].iov_len;
        }
        size_t left = connection.transmit_available(parts.data(), static_cast<int>(count));
        const bool all = left == total;
        _written += left;
        _size -= left;
        std::array<OutputObserver*, most> observers;
        size_t finished = 0;
        while (left > 0 && left >= _messages.front().buffer->offset() - _begun) {
            left -= _messages.front().buffer->offset() - _begun;
            observers[finished++] = finishFirst();
        }
        _begun += left;
        // Called last, because an observer may send messages and run the event loop.
        for (OutputObserver* observer : std::span(observers.data(), finished)) {
            if (observer)
                observer->left();
        }
        if (!all)
            return;
    }
}

OutputObserver* OutputQueue::finishFirst() {
    const Message message = _messages.front();
    _messages.pop_front();
    _begun = 0;
    _lastLeft = message.ticket;
    release_buffer(message.buffer);
    return message.observer;
}

bool OutputQueue::withdraw(Ticket ticket) {
    const auto found = find(ticket);
    if (found == _messages.end() || (found == _messages.begin() && _begun > 0))
        return false;
    _size -= found->buffer->offset();
    release_buffer(found->buffer);
    _messages.erase(found);
    return true;
}

void OutputQueue::fail(const CORBA_Exception& exception) {
    std::deque<Message> failed;
    failed.swap(_messages);
    _begun = 0;
    _size = 0;
    for (const Message& message : failed) {
        release_buffer(message.buffer);
        if (message.observer)
            message.observer->failed(exception);
    }
}

void OutputQueue::drop() {
    for (const Message& message : _messages)
        release_buffer(message.buffer);
    _messages.clear();
}

} // namespace harbolance
