#pragma once

#include "net/descriptors.h"
#include "stream/complaints.h"
#include "stream/ncipcstream.h"

#include <netinet/in.h>

#include <functional>
#include <memory>

class DSAddr;

// The destinations of a broadcast: the broadcast address of each of this host's networks, all with one port.
// The agent layer supplies the table; a UDP stream only iterates over it.
class NCBroadcastTable {
public:
    NCBroadcastTable() = default;
    NCBroadcastTable(const NCBroadcastTable&) = delete;
    NCBroadcastTable& operator=(const NCBroadcastTable&) = delete;
    virtual ~NCBroadcastTable() = default;

    // Calls `send` for each broadcast address, in the table's order, until it returns non-zero. Returns the
    // last result; 0 for an empty table.
    virtual int forEachTarget(const std::function<int(const sockaddr_in&)>& send) const = 0;

    // This host's own address in the first network that contains `address`, or null. The table owns it.
    virtual const DSAddr* localAddrFor(const sockaddr_in& address) const = 0;
};

// Makes the table of one stream: `fd` is its open socket, for queries about interfaces, and `port` is stored
// in every address. With `debug` a failure is reported on the standard error stream.
using NCBroadcastTableMaker = std::unique_ptr<NCBroadcastTable> (*)(int fd, int port, bool debug);

// Objects over UDP, one per datagram, to one peer or to every network of this host.
//
// Operations return a status, which `status` keeps: 0 or one of the codes below. They never throw. With
// `setDebug` a failure is also reported (complaints.h). Sending never waits for a reply; `receive` waits for
// a datagram on a blocking stream only. A new stream is non-blocking. Looking up a host name may block. All
// operations may be called from a handler of the event loop.
//
// Ports are in host byte order; only their low 16 bits are used.
class NCudpstream {
public:
    // The largest datagram that a receiver accepts, in octets. Larger objects are sent, and the receiver
    // drops them.
    static constexpr uint32_t datagramSize = 8192;

    static constexpr int noData = -988;       // nothing to read on a non-blocking stream
    static constexpr int systemError = -989;  // errno says more
    static constexpr int badObject = -990;    // wrong length, or no object could be rebuilt
    static constexpr int refused = -993;      // no process listens at the peer's port
    static constexpr int connected = -994;    // `sendTo` on a connected stream
    static constexpr int notConnected = -995; // `send` on an unconnected one
    static constexpr int tooLarge = -997;
    static constexpr int alreadyOpen = -998;
    static constexpr int notOpen = -999;
    static constexpr int noHost = -1000;

    NCudpstream();
    NCudpstream(std::unique_ptr<NCipcstream> in, std::unique_ptr<NCipcstream> out);
    NCudpstream(const NCudpstream&) = delete;
    NCudpstream& operator=(const NCudpstream&) = delete;

    // For a derived buffer class that reports these two conditions to its stream. Both return -1.
    virtual int overflow(uint32_t size);
    virtual int underflow();
    virtual ~NCudpstream();

    // Replaces the object streams; they work on this stream's buffers from then on.
    void setStreams(std::unique_ptr<NCipcstream> in, std::unique_ptr<NCipcstream> out);

    // Opens the socket. Port 0 means any free port; a null or invalid dotted address means any address.
    int bind(int port, const char* ipaddr = nullptr);
    // May be followed by another `bind`. The broadcast table stays.
    int close();
    // Sets the peer of `send`. The socket itself stays unconnected, so it receives datagrams from any
    // address.
    int connect(const char* host, int port);
    int connect(const sockaddr_in& peer);
    int setBlocking(bool blocking);
    // For a stream with one peer: until it is closed, `send` and `receive` give `refused` when the system has
    // reported that no process receives at the peer's port. By default this is off, and a peer that is gone
    // is only silent. Other reports of the system, such as an unreachable host, are dropped.
    int tellRefusals();

    int send(const NCTransObject* object);
    int sendTo(const char* host, int port, const NCTransObject* object);
    int sendTo(const sockaddr_in& address, const NCTransObject* object);
    // Sends to every network and stops at the first failure. The table is built on first use and keeps the
    // port of that call. On a host without networks nothing is sent; that is no failure.
    int broadcast(const NCTransObject* object, int port);
    int broadcast(const NCTransObject* object) { return broadcast(object, port_); }

    // Returns the object of one datagram, with reference count 0 for the caller to hold, or null with the
    // status saying why. `from`, if not null, gets the sender's address. A datagram with a wrong length word,
    // or without a complete object, is dropped. Octets after a complete object are ignored, so that later
    // versions of a record may be longer.
    NCTransObject* receive(sockaddr_in* from = nullptr);
    NCTransObject* receive(int& status, sockaddr_in* from = nullptr);

    // This host's own address in the network of `address`, or null. Null before the first broadcast.
    const DSAddr* localAddrFor(const sockaddr_in& address) const;
    // Sets the function that builds the tables of all streams; without one a broadcast sends nothing. Returns
    // the previous function.
    [[gnu::cold]] static NCBroadcastTableMaker setBroadcastTableMaker(NCBroadcastTableMaker maker);

    bool isOpen() const { return socket_.isOpen(); }
    bool isConnected() const { return connected_; }
    bool isBlocking() const { return blocking_; }
    int fd() const { return socket_.get(); }
    // The bound port, also when any free port was requested.
    int port() const { return port_; }
    const sockaddr_in& peer() const { return peer_; }
    int status() const { return status_.value(); }
    bool debug() const { return status_.debug(); }
    void setDebug(bool debug) { status_.setDebug(debug); }

private:
    int failSystem(const char* text) { return status_.failSystem(systemError, text); }
    bool findHost(const char* host, int port, sockaddr_in& address);
    int encode(const NCTransObject* object);
    int transmit(const sockaddr_in& address, bool tellRefusal);
    void finishSending();
    bool takeDatagram(sockaddr_in* from);
    bool dropReportedErrors();
    NCTransObject* decode();

    std::unique_ptr<NCipcstream> in_;
    std::unique_ptr<NCipcstream> out_;
    int port_ = 0;
    harbolance::Descriptor socket_;
    NCipcbuf inBuffer_;
    NCipcbuf outBuffer_;
    bool connected_ = false;
    bool tellsRefusals_ = false;
    sockaddr_in peer_{};
    bool blocking_ = false;
    harbolance::CarrierStatus status_;
    std::unique_ptr<NCBroadcastTable> broadcastTable_;
    bool broadcastTableBuilt_ = false;
};
