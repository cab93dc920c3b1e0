#pragma once

// The ORB's byte pipes. A TRXConnection is one socket: a listener, a connection that this process opened or
// one that it accepted (this file); a TRXConnFactory makes and finds them for the profiles of one tag. TCP is
// the one transport (viconn.h). Waits go through loop_wait.h, so that a process that waits goes on serving;
// GIOP (invoke/giop) stands on top and never touches a socket.

#include "base/refcount.h"
#include "marshal/reference/vior.h"

#include <sys/types.h>
#include <sys/uio.h>

// One pipe. It is counted, and starts with one reference, its maker's.
//
// Time-outs are whole seconds, 0 for no limit. Failures are raised: CORBA_COMM_FAILURE with errno as minor
// code when the pipe is broken, CORBA_NO_RESPONSE when the time is over, CORBA_NO_RESOURCES (errno) when the
// system has no descriptor or memory for a socket.
class TRXConnection : public TRXResource {
public:
    enum State : CORBA_ULong {
        INITIAL,   // no socket yet
        CONNECTED, // opened by this process
        ATTACHED,  // accepted by this process
        CLOSED,    // by `close`, or the peer has gone
        LISTEN,
    };

    TRXConnection(const TRXConnection&) = delete;
    TRXConnection& operator=(const TRXConnection&) = delete;
    ~TRXConnection() override;

    virtual void listen(const IOP::TaggedProfile& profile) = 0;
    virtual void connect(const IOP::TaggedProfile& profile, CORBA_ULong timeout) = 0;
    // A new connection to the same place; the caller's.
    virtual TRXConnection* clone(CORBA_ULong timeout) = 0;
    // A new profile that says how to reach this end: with `key`, as it is published for the object of that
    // key; without, as it was connected or bound. The caller's.
    virtual IOP::TaggedProfile* profile(const CORBA_OctetSequence* key = nullptr) = 0;
    // From a listener: the next connection, the caller's.
    virtual TRXConnection* accept() = 0;
    // Blocks until `length` octets have come; the time-out covers each wait for more of them, not the whole.
    // On failure `length` is what has come. Without a buffer it waits until something can be read, and a
    // time-out of 0 only asks.
    virtual void read(char* buffer, CORBA_ULong& length, CORBA_ULong timeout = 0) = 0;
    // Whether a read would not wait.
    virtual bool data_available();
    // Blocks until all of it is with the system, likewise.
    virtual void write(const char* octets, CORBA_ULong& length, CORBA_ULong timeout = 0) = 0;
    virtual int fd() const; // -1 when there is no socket
    virtual void close();   // any number of times
    virtual void blocking(CORBA_Boolean blocking);
    virtual CORBA_Boolean blocking() const; // as last set
    virtual State state() const;
    virtual CORBA_ULong profile_id() const; // the tag of the transport
    virtual CORBA_Boolean reliable() const; // octets arrive in order, each once: always true

    // What can be transferred without waiting, whatever the blocking mode: the number of octets, 0 when the
    // socket has none or takes none now. The end of the stream and errors close the connection's state and
    // raise CORBA_COMM_FAILURE.
    size_t receive_available(char* buffer, size_t size);
    // With `more` the system may keep the octets for those that follow: for a fifth of a second at the most,
    // until `push`, or until some are sent without it.
    size_t transmit_available(const iovec* parts, int count, bool more = false);
    void push();
    // Ends the stream where it stands, for both ends; the event loop sees it.
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

// Makes the connections for the profiles of one tag, and keeps those that may be shared.
class TRXConnFactory {
public:
    // A second factory for a tag raises CORBA_BAD_PARAM.
    explicit TRXConnFactory(CORBA_ULong tag);
    TRXConnFactory(const TRXConnFactory&) = delete;
    TRXConnFactory& operator=(const TRXConnFactory&) = delete;
    virtual ~TRXConnFactory();

    // The connection is being closed or destroyed and is not to be found again.
    virtual void destroy(TRXConnection* connection) = 0;
    // A listener for the profile; the caller's.
    virtual TRXConnection* create(const IOP::TaggedProfile& profile) = 0;
    // A connection to the profile's address: one that is open already, or a new one. The caller's reference.
    virtual TRXConnection* connection(const IOP::TaggedProfile& profile, CORBA_ULong timeout) = 0;
    // Whether the profile names this host.
    virtual CORBA_Boolean is_local(const IOP::TaggedProfile& profile);

    CORBA_ULong tag() const { return _tag; }

    // Null when there is no transport for the tag.
    static TRXConnFactory* find(CORBA_ULong tag);

private:
    CORBA_ULong _tag;
};
