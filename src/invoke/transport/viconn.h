#pragma once

#include "base/hash_table.h"
#include "invoke/transport/vconn.h"

#include <netinet/in.h>

#include <string>

// A connection over TCP. The host of its profile is a dotted address or a name; names may block in the
// resolver.
class TRXTCPConn : public TRXConnection {
public:
    TRXTCPConn();
    ~TRXTCPConn() override;

    // Port 0 takes any port, which `profile` then tells. The address of this host listens on all interfaces,
    // any other one, 127.0.0.1 too, on its own only.
    void listen(const IOP::TaggedProfile& profile) override;
    // See connect(address, timeout).
    void connect(const IOP::TaggedProfile& profile, CORBA_ULong timeout) override;
    TRXConnection* clone(CORBA_ULong timeout) override;
    // With `key` the host and port are those of the properties OAproxyIPaddr and OAproxyPort where they are
    // set.
    IOP::TaggedProfile* profile(const CORBA_OctetSequence* key = nullptr) override;
    TRXConnection* accept() override;
    void read(char* buffer, CORBA_ULong& length, CORBA_ULong timeout = 0) override;
    void write(const char* octets, CORBA_ULong& length, CORBA_ULong timeout = 0) override;
    void close() override;

    // Another tag than TAG_INTERNET_IOP raises CORBA_INTERNAL.
    virtual void set_profile(const IOP::TaggedProfile& profile);
    // Waits in the event loop (loop_wait.h). A refused attempt is repeated at once, at 127.0.0.1 with this
    // host's own address, and then, as long as a time-out was given and lasts, after pauses of 2, 4, 8 and
    // more seconds.
    virtual void connect(const sockaddr_in* address, CORBA_ULong timeout = 0);
    virtual void accept(int& fd);
    // Takes an accepted socket over.
    virtual void attach(int fd);

    const IIOP::ProfileBody& body() const { return _body; }

    // From a listener: takes the next connection and closes it at once, also when the process has no
    // descriptor left, so that the listener does not stay readable.
    void refuse();

private:
    int try_connecting(const sockaddr_in& address, CORBA_ULong timeout);
    int wait_connected(CORBA_ULong timeout);
    int open_socket();
    void replace_socket(int fd);
    void drop_socket();
    void set_client_options();
    int next_accepted();
    void store_body();

    IIOP::ProfileBody _body;
    IOP::TaggedProfile _profile; // the encoded form of `_body`
    int _waiting_fd = -1;        // accepted, but above what the event loop can watch
    int _spare_fd = -1;          // of a listener: given up for a moment to refuse a connection
};

// Connections to one address are shared: one socket serves all objects there, and a closed one is replaced on
// demand.
class TRXTCPConnFactory : public TRXConnFactory {
public:
    TRXTCPConnFactory();

    void destroy(TRXConnection* connection) override;
    TRXConnection* create(const IOP::TaggedProfile& profile) override;
    TRXConnection* connection(const IOP::TaggedProfile& profile, CORBA_ULong timeout) override;
    CORBA_Boolean is_local(const IOP::TaggedProfile& profile) override;

private:
    struct Place {
        std::string_view host;
        CORBA_UShort port;
    };
    struct Traits : harbolance::GrowWhenFull {
        struct Entry {
            std::string host;
            CORBA_UShort port = 0;
            TRXConnection* connection = nullptr; // takes itself out before it goes
        };
        static bool isFree(const Entry& entry) { return !entry.connection; }
        static uint32_t hash(const Place& place) { return harbolance::stringHash(place.host) ^ place.port; }
        static uint32_t hash(const Entry& entry) { return hash(Place{entry.host, entry.port}); }
        static bool equal(const Entry& stored, const Place& place) {
            return stored.host == place.host && stored.port == place.port;
        }
        static bool equal(const Entry& stored, const Entry& entry) {
            return equal(stored, Place{entry.host, entry.port});
        }
    };

    TRXConnection* find_open(const Place& place);

    harbolance::HashTable<Traits> _connections{16};
};
