#pragma once

#include "stream/ncbroadcast.h"
#include "stream/ncipcstream.h"

#include <memory>
#include <netinet/in.h>

// Objects over UDP, one per datagram, to one peer or to every network of this host.
//
// Operations return a status, which `status` keeps: 0 or one of the codes below. They never throw. With
// `setDebug` a failure is also told on the standard error stream. Sending never waits for an answer;
// `receive` waits for a datagram on a blocking stream only. A new stream is non-blocking. Host names are
// looked up, which may block. All operations may be called from a handler of the event loop.
//
// Ports are host values; of one beyond 65535 the low 16 bits count.
class NCudpstream {
public:
    // The most that a receiver accepts. Larger objects are sent and refused over there.
    static constexpr uint32_t datagramSize = 8192;

    static constexpr int noData = -988;       // nothing to read on a non-blocking stream
    static constexpr int systemError = -989;  // errno says more
    static constexpr int badObject = -990;    // wrong length, or no object could be rebuilt
    static constexpr int refused = -993;      // nobody listens at the peer's port
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

    // For a buffer class that hands these two conditions to its stream. Both return -1.
    virtual int overflow(uint32_t size);
    virtual int underflow();
    virtual ~NCudpstream();

    // Replaces the object streams; they work on this stream's buffers from then on.
    void setStreams(std::unique_ptr<NCipcstream> in, std::unique_ptr<NCipcstream> out);

    // Opens the socket. Port 0 asks for any port. A null or invalid dotted address stands for any address.
    int bind(int port, const char* ipaddr = nullptr);
    // May be followed by another `bind`. The broadcast table stays.
    int close();
    // Names the peer of `send`. The socket itself stays unconnected, so datagrams from anywhere come in.
    int connect(const char* host, int port);
    int connect(const sockaddr_in& peer);
    int setBlocking(bool blocking);

    int send(const NCTransObject* object);
    int sendTo(const char* host, int port, const NCTransObject* object);
    int sendTo(const sockaddr_in& address, const NCTransObject* object);
    // To every network; the first failing send ends it. The table is built on first use and keeps the port of
    // that call. A host without networks is no failure: the object reaches nobody.
    int broadcast(const NCTransObject* object, int port);
    int broadcast(const NCTransObject* object) { return broadcast(object, port_); }

    // The object of one datagram, with reference count 0 for the caller to hold, or null with the status
    // saying why. `from`, when not null, takes the sender's address. A datagram whose length is not the one
    // it claims, or that holds no complete object, is dropped. Octets behind a complete object are ignored,
    // so that a later version of a record may carry more.
    NCTransObject* receive(sockaddr_in* from = nullptr);
    NCTransObject* receive(int& status, sockaddr_in* from = nullptr);

    // This host's own address in the network of `address`, or null. Null before the first broadcast.
    const DSAddr* localAddrFor(const sockaddr_in& address) const;
    // What builds the tables of all streams from now on; without one a broadcast reaches nobody. Returns what
    // did so before.
    static NCBroadcastTableMaker setBroadcastTableMaker(NCBroadcastTableMaker maker);

    bool isOpen() const { return open_; }
    bool isConnected() const { return connected_; }
    bool isBlocking() const { return blocking_; }
    int fd() const { return fd_; }
    // The bound port, also when any was asked for.
    int port() const { return port_; }
    const sockaddr_in& peer() const { return peer_; }
    int status() const { return status_; }
    bool debug() const { return debug_; }
    void setDebug(bool debug) { debug_ = debug; }

private:
    int done();
    int fail(int status, const char* text);
    int failSystem(const char* text);
    int failOpening(const char* text, int fd);
    bool findHost(const char* host, int port, sockaddr_in& address);
    int encode(const NCTransObject* object);
    int transmit(const sockaddr_in& address, bool tellRefusal);
    void finishSending();
    NCTransObject* decode();

    std::unique_ptr<NCipcstream> in_;
    std::unique_ptr<NCipcstream> out_;
    int port_ = 0;
    int fd_ = -1;
    NCipcbuf inBuffer_;
    NCipcbuf outBuffer_;
    bool open_ = false;
    bool connected_ = false;
    sockaddr_in peer_{};
    bool blocking_ = false;
    bool debug_ = false;
    int status_ = 0;
    std::unique_ptr<NCBroadcastTable> broadcastTable_;
    bool broadcastTableBuilt_ = false;
};
