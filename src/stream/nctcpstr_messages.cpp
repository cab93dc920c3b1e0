#include "stream/nctcpstr.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>

using namespace harbolance;

// Messages on an open TCP stream: writing with a queue, reading message by message.

namespace {

constexpr uint32_t smallestGrowth = 1024;

// The errno values that mean that the connection is lost.
bool meansBroken(int error) {
    return error == ENETDOWN || error == ENETRESET || error == ECONNABORTED || error == ECONNRESET ||
           error == ENOTCONN;
}

} // namespace

int NCtcpstream::send(const NCTransObject* object, uint8_t priority) {
    if (!isOpen())
        return status_.fail(notOpen, "NCtcpstream::send: File not open");
    if (!writePending_ && queue_.isEmpty())
        return ncEncodeMessage(*out_, object) ? writeBuffer() : status_.set(systemError);
    // The limit may have been set above the queue's capacity.
    if (queue_.size() >= std::min(queueLimit_, queue_.capacity()))
        return status_.fail(queueFull, "Cannot queue any more messages. Queue Full.");
    if (enqueueObject(object, priority) != 0)
        return status();
    // Tried at once, because output may have become possible since the pending message was interrupted.
    if (flush() == partlyWritten)
        return status_.fail(queued, "Message is Queued.");
    return status();
}

int NCtcpstream::enqueueObject(const NCTransObject* object, uint8_t priority) {
    auto message = std::make_unique<NCWaitingMessage>();
    if (!message->encode(*out_, object))
        return status_.set(systemError);
    // The queue cannot be full, since `send` has checked. From here on the queue owns the message.
    queue_.enqueue(message.release(), priority);
    return status_.done();
}

std::unique_ptr<NCWaitingMessage> NCtcpstream::nextQueued() {
    int found = 0;
    return std::unique_ptr<NCWaitingMessage>(static_cast<NCWaitingMessage*>(queue_.dequeue(found)));
}

int NCtcpstream::flush() {
    if (!isOpen())
        return status_.set(notOpen);
    if (!writePending_ && queue_.isEmpty())
        return status_.set(nothingPending);
    // The current message first: a message of higher priority must not start inside it.
    if (writePending_ && writeBuffer() != 0)
        return status();
    while (const auto next = nextQueued()) {
        if (!next->leave(*out_))
            return status_.set(systemError);
        if (writeBuffer() != 0)
            break;
    }
    return status();
}

// Writes the output buffer from where the last call stopped.
int NCtcpstream::writeBuffer() {
    const uint32_t total = outBuffer_.bytesWritten();
    if (total == 0)
        return status_.set(nothingToWrite);
    // Otherwise SIGPIPE would end this process when a peer closes its end.
    if (!ignoreBrokenPipes())
        status_.tellSystem("NCtcpstream::sigaction ");
    if (!writePending_)
        written_ = 0;
    while (written_ < total) {
        const ssize_t count =
            uninterrupted([&] { return ::write(fd(), outBuffer_.wbuf() + written_, total - written_); });
        if (count > 0) {
            written_ += static_cast<uint32_t>(count);
        } else if (count == -1 && errno == EAGAIN) {
            writePending_ = true;
            return status_.set(partlyWritten);
        } else if (count == 0 || errno == EPIPE || meansBroken(errno)) {
            // 0 is not an error code, but a write that accepts nothing would be repeated for ever.
            return status_.fail(broken, "NCtcpstream::send: Connection broken");
        } else {
            writePending_ = written_ > 0; // the next message must not start inside this one
            return failSystem("NCtcpstream::send: write");
        }
    }
    outBuffer_.resetWrite();
    writePending_ = false;
    written_ = 0;
    return status_.done();
}

NCTransObject* NCtcpstream::receive() {
    if (!isOpen()) {
        status_.set(notOpen);
        return nullptr;
    }
    return receiveWithin(nullptr);
}

NCTransObject* NCtcpstream::receive(int& status, int seconds) {
    NCTransObject* object = nullptr;
    if (isOpen()) {
        // One deadline for all reads of the message, so that a peer that sends octet by octet cannot extend
        // it.
        const Deadline deadline(seconds);
        object = receiveWithin(&deadline);
    } else {
        status_.set(notOpen);
    }
    status = status_.value();
    return object;
}

NCTransObject* NCtcpstream::receiveWithin(const Deadline* deadline) {
    if (readMessage({deadline, false}) != 0)
        return nullptr;
    in_->clearFailed();
    NCTransObject* object = in_->readObject();
    status_.set(object ? 0 : badObject);
    return object;
}

int NCtcpstream::readMessage(Reading reading) {
    const bool resumed = readPending_;
    if (!resumed) {
        // Resets the positions, so that the area does not grow from message to message.
        messageLength_ = -1;
        inBuffer_.resetRead();
    }
    constexpr const char* resumedText = "NCtcpstream::_finishReadIntoBuffer: read ";
    if (messageLength_ == -1 && readWord(reading, resumed ? resumedText : "NCtcpstream::receive: read") != 0)
        return status();
    if (readBody(reading, resumed ? resumedText : "NCtcpstream::receive: read ") != 0)
        return status();
    readPending_ = false;
    return status_.done();
}

int NCtcpstream::readWord(Reading& reading, const char* text) {
    while (inBuffer_.bytesUnread() < ncFrameWord) {
        if (readSome(ncFrameWord - inBuffer_.bytesUnread(), reading, text,
                     "NCtcpstream::receive: Connection broken") != 0)
            return status();
    }
    in_->clearFailed();
    in_->read(messageLength_);
    // No message is shorter than its length word. The limit bounds the memory that a peer can make this
    // process use.
    if (messageLength_ < static_cast<int>(ncFrameWord) || messageLength_ > messageLimit_)
        messageLength_ = 0;
    inBuffer_.resetRead();
    return status_.done();
}

int NCtcpstream::readBody(Reading& reading, const char* text) {
    if (messageLength_ == 0) {
        // The start of the next message is unknown, so the stream stays in this state until `close`.
        readPending_ = true;
        return status_.fail(broken, "NCtcpstream::receive: Connection broken");
    }
    const uint32_t length = static_cast<uint32_t>(messageLength_) - ncFrameWord;
    while (inBuffer_.bytesUnread() < length) {
        const uint32_t present = inBuffer_.bytesUnread();
        // The area grows with the data that arrives, not to the size that the length word claims.
        if (present == inBuffer_.rsize() &&
            inBuffer_.growRead(std::min(length, std::max(2 * present, smallestGrowth))) == -1)
            return failSystem("NCtcpstream::receive: Memory alloc");
        // Reads no further than this message; later data stays in the socket for the next call.
        if (readSome(std::min(length, inBuffer_.rsize()) - present, reading, text,
                     "NCtcpstream::receive:Connection broken") != 0)
            return status();
    }
    return status_.done();
}

// Reads up to `wanted` octets behind those present: at least one, or gives a status. After its deadline a
// call still reads data that has already arrived, as long as each read returns the full number.
int NCtcpstream::readSome(uint32_t wanted, Reading& reading, const char* text, const char* endText) {
    for (;;) {
        if (reading.deadline) {
            const bool over = reading.drained && reading.deadline->passed();
            const int ready = over ? 0 : pollUntil(fd(), POLLIN, *reading.deadline);
            if (ready == 0)
                return readInterrupted(timedOut);
            if (ready == -1)
                return status_.set(systemError);
        }
        const ssize_t count = uninterrupted([&] { return ::read(fd(), inBuffer_.rend(), wanted); });
        if (count > 0) {
            inBuffer_.advanceEnd(static_cast<size_t>(count));
            reading.drained = static_cast<size_t>(count) < wanted;
            return status_.done();
        }
        if (count == 0)
            return status_.fail(broken, endText);
        if (errno != EAGAIN)
            return meansBroken(errno) ? status_.fail(broken, "NCtcpstream::recive: Connection broken")
                                      : failSystem(text);
        // With a deadline the wait is repeated: the readiness was spurious, or the socket is non-blocking.
        if (!reading.deadline)
            return readInterrupted(partlyRead);
        reading.drained = true;
    }
}

// Keeps the part of a message that has arrived for the next call.
int NCtcpstream::readInterrupted(int status) {
    readPending_ = messageLength_ != -1 || inBuffer_.bytesUnread() > 0;
    if (!readPending_ && status == partlyRead)
        return status_.fail(noData, "NCtcpstream::receive: No data to read");
    return status_.set(status);
}
