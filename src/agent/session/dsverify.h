#pragma once

#include "agent/records/dsaddr.h"
#include "net/dispatcher.h"
#include "net/ncrtt.h"

#include <memory>
#include <netinet/in.h>

class DSVerify;
class NCTransObject;
class NCudpstream;

// The handler that a DSVerify links to the dispatcher, with its round-trip estimate.
class DSVerifyHandler : public dpIOHandler, public NCrtt {
public:
    explicit DSVerifyHandler(DSVerify* owner) : owner_(owner) {}
    int inputReady(int fd) override;
    void timerExpired(long sec, long usec) override;

private:
    DSVerify* owner_;
};

// Checks whether a process is alive, over a UDP socket of its own, so that a process busy with a request can
// be told from a dead one. One side listens and answers every request; the other side asks one peer, repeats
// the request at growing intervals, and calls `peerUp` or `peerDown` in the end. A silent peer counts as down
// after 69 seconds.
//
// Everything runs in the global dispatcher and may be called from a handler. A hook may destroy the object.
class DSVerify {
public:
    static constexpr int busy = 100;
    static constexpr int connectFailed = 101;
    static constexpr int sendFailed = 102;
    static constexpr int bindFailed = 103;

    DSVerify();
    DSVerify(const DSVerify&) = delete;
    DSVerify& operator=(const DSVerify&) = delete;
    virtual ~DSVerify();

protected:
    // Hooks for the result of a check; by default they do nothing.
    virtual void peerUp() {}
    virtual void peerReserved() {}
    virtual void peerDown() {}

public:
    // Listens and answers from now on. Port 0 means any free port, a null address any address. Returns 0 or a
    // code above.
    int bind(int port, const char* ipaddr);
    // Starts one check. Returns 0 or a code above; with `sendFailed`, `peerDown` has already been called. The
    // address is not kept.
    int verify(const DSAddr* peer);

    // The socket's port; 0 without a socket.
    int port() const;
    // While listening, this host with the port; else null.
    NCRef<DSAddr> localAddr() const;
    bool debug() const { return debug_; }
    void setDebug(bool debug) { debug_ = debug; }

private:
    friend class DSVerifyHandler;
    enum Mode { idle = 0, listening = 1, verifying = 2 };

    int receiveMsg(int fd);
    void timeout();
    int open(int port, const char* ipaddr);
    void answer(const NCTransObject* received, int status, const sockaddr_in& from);
    int ask();
    void stopVerifying();
    void unlinkSocket();

    std::unique_ptr<DSVerifyHandler> handler_;
    std::unique_ptr<NCudpstream> socket_;
    Mode mode_ = idle;
    bool debug_ = false;
};
