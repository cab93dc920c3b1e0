#pragma once

#include "net/descriptors.h"
#include "stream/complaints.h"
#include "stream/ncframe.h"
#include "stream/ncpriqueue.h"

#include <netinet/in.h>

#include <algorithm>
#include <memory>
#include <string>

// Objects over a TCP connection, one per message; also the listening side.
//
// Operations return a status, which `status` keeps: 0 or one of the codes below. They never throw. With
// `setDebug` a failure is also reported (complaints.h). An error does not close the stream: after `broken` or
// `badObject`, or when `send` or `flush` gives `systemError`, the only useful operation is `close`.
//
// A new stream is blocking: sending and receiving then wait for the peer without a limit, except in the
// operations with a limit. A non-blocking stream does what is possible at once and keeps the rest of a
// message for the next call: call `receive` when there is input, `flush` when output is possible. All
// operations may be called from a handler of the event loop. The first write makes the process ignore
// SIGPIPE.
//
// A class name is written once per connection and direction, so a stream serves one connection at a time;
// `close` makes it ready for another. Ports are in host byte order; only their low 16 bits are used.
class NCtcpstream {
public:
    // The longest message accepted from a peer, in octets; a larger length word counts as a broken
    // connection. Memory grows with the octets that arrive, not with the length word.
    static constexpr int maxMessage = 256 * 1024 * 1024;

    static constexpr int timedOut = -986;
    static constexpr int partlyWritten = -987; // the rest is kept for `flush`
    static constexpr int nothingToWrite = -988;
    static constexpr int nothingPending = -989;
    static constexpr int queueFull = -990; // the message was refused
    static constexpr int queued = -991;    // sent by a later `flush`
    static constexpr int noData = -992;    // nothing to read on a non-blocking stream
    static constexpr int systemError = -993;
    static constexpr int badObject = -994; // the message holds no object that could be rebuilt
    static constexpr int badDescriptor = -995;
    static constexpr int broken = -996; // closed by the peer, network failure, or invalid length
    static constexpr int noHost = -997;
    static constexpr int alreadyOpen = -998;
    static constexpr int notOpen = -999;
    static constexpr int partlyRead = -1000; // the rest is still to come

    // `bufferSize` is the initial size of the read and write areas in octets, `queueCapacity` the number of
    // messages that may wait.
    NCtcpstream(uint32_t bufferSize, int queueCapacity);
    // With a queue of 16 messages, which `setQueueLimit` can raise.
    NCtcpstream(std::unique_ptr<NCipcstream> in, std::unique_ptr<NCipcstream> out, uint32_t bufferSize,
                int queueLimit);
    NCtcpstream(const NCtcpstream&) = delete;
    NCtcpstream& operator=(const NCtcpstream&) = delete;
    virtual ~NCtcpstream();

    // Replaces the object streams, neither of them null; they work on this stream's buffers from then on.
    void setStreams(std::unique_ptr<NCipcstream> in, std::unique_ptr<NCipcstream> out);

    // Listens. Port 0 means any free port, a null host any address of this host. A host name is looked up,
    // which may block.
    int listen(int port, const char* host = nullptr);
    // Returns the accepted descriptor, or a status. The second form returns an attached, blocking stream, or
    // null.
    int accept();
    std::unique_ptr<NCtcpstream> acceptStream();

    // Blocks until the connection is made, also on a non-blocking stream. With a limit in seconds (negative
    // means none) it gives `timedOut` when the limit has passed; the look-up of the name has no limit.
    int connect(const char* host, int port, int seconds = -1);
    // The address in network byte order.
    int connect(in_addr_t address, int port, int seconds = -1);
    // Takes ownership of an open connection; on failure the caller keeps the descriptor.
    int attach(int fd);
    // Closes the connection and drops messages that are queued or partly sent or received.
    int close();

    // Switching to blocking mode flushes pending output.
    int setBlocking(bool blocking);
    // Sends a message. While another one is pending or queued, this one is encoded and queued: the lowest
    // priority number leaves first, equal ones in order of arrival. The object is not needed after the call.
    int send(const NCTransObject* object, uint8_t priority);
    // Writes the pending message, then the queued ones.
    int flush();

    // The object of one message, with reference count 0 for the caller to hold, or null with the status
    // saying why. Octets behind a complete object are ignored.
    NCTransObject* receive();
    // Waits for a whole message, at most `seconds` in total, also on a blocking stream; negative means no
    // limit. Data that has already arrived is read even after the limit. A message that is incomplete at the
    // limit is continued by a later call.
    NCTransObject* receive(int& status, int seconds = -1);

    // The longest message accepted from this peer, at most `maxMessage`.
    void setMessageLimit(int limit) { messageLimit_ = std::min(limit, maxMessage); }
    // Only raises the limit of the queue.
    void setQueueLimit(int limit);
    int queueLimit() const { return queueLimit_; }
    int queueCount() const { return queue_.size(); }
    bool isOpen() const { return socket_.isOpen(); }
    bool isBlocking() const { return blocking_; }
    bool isReadPending() const { return readPending_; }
    bool isWritePending() const { return writePending_; }
    int fd() const { return socket_.get(); }
    // The peer's port for a connected stream, the own one for a listener, 0 for an attached descriptor.
    int port() const { return port_; }
    const char* hostName() const { return hostName_.c_str(); }
    int status() const { return status_.value(); }
    bool debug() const { return status_.debug(); }
    void setDebug(bool debug) { status_.setDebug(debug); }

private:
    // The state of one reading call: its limit, if it has one, and whether all data that had arrived was
    // read.
    struct Reading {
        const harbolance::Deadline* deadline;
        bool drained;
    };

    int failSystem(const char* text) { return status_.failSystem(systemError, text); }
    int open(harbolance::Descriptor socket, int port);
    int openConnection(const sockaddr_in& peer, int seconds);
    void lingerOff(const char* text);
    std::unique_ptr<NCWaitingMessage> nextQueued();
    void dropQueue();

    int enqueueObject(const NCTransObject* object, uint8_t priority);
    int writeBuffer();

    NCTransObject* receiveWithin(const harbolance::Deadline* deadline);
    int readMessage(Reading reading);
    int readWord(Reading& reading, const char* text);
    int readBody(Reading& reading, const char* text);
    int readSome(uint32_t wanted, Reading& reading, const char* text, const char* endText);
    int readInterrupted(int status);

    std::unique_ptr<NCipcstream> in_;
    std::unique_ptr<NCipcstream> out_;
    NCPriorityQueue queue_; // of owned NCWaitingMessages
    NCipcbuf inBuffer_;
    NCipcbuf outBuffer_;
    std::string hostName_;
    int port_ = 0;
    harbolance::Descriptor socket_;
    int queueLimit_;
    int messageLimit_ = maxMessage;
    bool readPending_ = false;
    bool writePending_ = false;
    uint32_t written_ = 0;   // octets written of the pending message
    int messageLength_ = -1; // -1 until the length word of the current message is complete
    bool blocking_ = true;
    harbolance::CarrierStatus status_;
};
