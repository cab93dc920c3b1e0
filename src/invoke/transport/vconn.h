#pragma once

// The ORB's connections for octets. A TRXConnection (this file) is one socket: a listener, a connection that
// this process opened, or one that it accepted. A TRXConnFactory makes and finds connections for the profiles
// of one tag. TCP is the only transport (viconn.h). Waits use loop_wait.h, so that a waiting process goes on
// serving. GIOP (invoke/giop) is built on this and never uses a socket directly.

#include "base/refcount.h"
#include "marshal/reference/vior.h"

#include <sys/types.h>
#include <sys/uio.h>

// One connection. It is reference-counted and starts with one reference, owned by its maker.
//
// Time-outs are in whole seconds, 0 for no limit. Failures are raised: CORBA_COMM_FAILURE, with errno as
// minor code, when the connection is broken; CORBA_NO_RESPONSE after a time-out; CORBA_NO_RESOURCES (errno)
// when the system has no descriptor or memory for a socket.
class TRXConnection : public TRXResource {
public:
    enum State : CORBA_ULong {
        INITIAL,   // no socket yet
        CONNECTED, // opened by this process
        ATTACHED,  // accepted by this process
        CLOSED,    // by `close`, or by the peer
        LISTEN,
    };

    TRXConnection(const TRXConnection&) = delete;
    TRXConnection& operator=(const TRXConnection&) = delete;
    ~TRXConnection() override;

    virtual void listen(const IOP::TaggedProfile& profile) = 0;
    virtual void connect(const IOP::TaggedProfile& profile, CORBA_ULong timeout) = 0;
    // A new connection to the same place, owned by the caller.
    virtual TRXConnection* clone(CORBA_ULong timeout) = 0;
    // A new profile for this end, owned by the caller: with `key`, the published address of the object with
    // that key; without, the address as connected or bound.
    virtual IOP::TaggedProfile* profile(const CORBA_OctetSequence* key = nullptr) = 0;
    // For a listener: the next connection, owned by the caller.
    virtual TRXConnection* accept() = 0;
    // Blocks until `length` octets have arrived; the time-out applies to each wait for more, not to the
    // whole. On failure `length` is the number that has arrived. Without a buffer it waits until something
    // can be read; a time-out of 0 then only tests.
    virtual void read(char* buffer, CORBA_ULong& length, CORBA_ULong timeout = 0) = 0;
    // Whether a read would return without waiting.
    virtual bool data_available();
    // Blocks until all octets are passed to the system; time-out and `length` as for `read`.
    virtual void write(const char* octets, CORBA_ULong& length, CORBA_ULong timeout = 0) = 0;
    virtual int fd() const; // -1 when there is no socket
    virtual void close();   // may be called several times
    virtual void blocking(CORBA_Boolean blocking);
    virtual CORBA_Boolean blocking() const; // as last set
    virtual State state() const;
    virtual CORBA_ULong profile_id() const; // the tag of the transport
    virtual CORBA_Boolean reliable() const; // octets arrive in order, each once: always true

    // Transfer without waiting, whatever the blocking mode. Return the number of octets, 0 when the socket
    // has none or accepts none now. The end of the stream and errors set the state to CLOSED and raise
    // CORBA_COMM_FAILURE.
    size_t receive_available(char* buffer, size_t size);
    // With `more` the system may delay the octets: until `push`, until octets are sent without it, or for 200
    // ms at most.
    size_t transmit_available(const iovec* parts, int count, bool more = false);
    void push();
    // Ends the stream for both sides; the event loop notices the end.
    void break_off();
    // The errno of the failure that closed the connection, 0 for the end of the stream.
    CORBA_ULong saved_errno() const { return static_cast<CORBA_ULong>(_saved_errno); }

protected:
    explicit TRXConnection(CORBA_ULong profileId) : _profile_id(profileId) {}

    [[noreturn]] void fail_closed(int error);

    int _fd = -1;
    bool _blocking = true;
    State _state = INITIAL;
    CORBA_ULong _profile_id;
    int _saved_errno = 0;
};

using TRXConnection_var = TRXRef<TRXConnection>;

// Makes connections for the profiles of one tag, and keeps those that may be shared.
class TRXConnFactory {
public:
    // A second factory for a tag raises CORBA_BAD_PARAM.
    explicit TRXConnFactory(CORBA_ULong tag);
    TRXConnFactory(const TRXConnFactory&) = delete;
    TRXConnFactory& operator=(const TRXConnFactory&) = delete;
    virtual ~TRXConnFactory();

    // Call when the connection is closed or destroyed: it will not be found again.
    virtual void destroy(TRXConnection* connection) = 0;
    // A listener for the profile, owned by the caller.
    virtual TRXConnection* create(const IOP::TaggedProfile& profile) = 0;
    // A connection to the profile's address, open already or new. The caller owns the reference.
    virtual TRXConnection* connection(const IOP::TaggedProfile& profile, CORBA_ULong timeout) = 0;
    // Whether the profile names this host.
    virtual CORBA_Boolean is_local(const IOP::TaggedProfile& profile);

    CORBA_ULong tag() const { return _tag; }

    // Null when there is no transport for the tag.
    static TRXConnFactory* find(CORBA_ULong tag);

private:
    CORBA_ULong _tag;
};
