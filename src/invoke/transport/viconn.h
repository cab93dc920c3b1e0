#pragma once

#include "base/hash_table.h"
#include "invoke/transport/vconn.h"

#include <netinet/in.h>

#include <string>

// A connection over TCP. The host of its profile is a dotted address or a name; looking up a name may block.
class TRXTCPConn : public TRXConnection {
public:
    TRXTCPConn();
    ~TRXTCPConn() override;

    // Port 0 means any free port, which `profile` then contains. This host's address means all interfaces;
    // any other address, also 127.0.0.1, only its own interface.
    void listen(const IOP::TaggedProfile& profile) override;
    // See connect(address, timeout).
    void connect(const IOP::TaggedProfile& profile, CORBA_ULong timeout) override;
    TRXConnection* clone(CORBA_ULong timeout) override;
    // With `key`, the properties OAproxyIPaddr and OAproxyPort replace host and port if they are set.
    IOP::TaggedProfile* profile(const CORBA_OctetSequence* key = nullptr) override;
    TRXConnection* accept() override;
    void read(char* buffer, CORBA_ULong& length, CORBA_ULong timeout = 0) override;
    void write(const char* octets, CORBA_ULong& length, CORBA_ULong timeout = 0) override;
    void close() override;

    // A tag other than TAG_INTERNET_IOP raises CORBA_INTERNAL.
    virtual void set_profile(const IOP::TaggedProfile& profile);
    // Waits in the event loop (loop_wait.h). A refused attempt is repeated at once, for this host's own
    // address at 127.0.0.1; then, if a time-out was given and has not passed, after pauses of 2, 4, 8 and
    // more seconds.
    virtual void connect(const sockaddr_in* address, CORBA_ULong timeout = 0);
    virtual void accept(int& fd);
    // Takes ownership of an accepted socket.
    virtual void attach(int fd);

    const IIOP::ProfileBody& body() const { return _body; }

    // For a listener: accepts the next connection and closes it at once, even if the process has no free
    // descriptor, so that the listener does not stay readable.
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
    int _spare_fd = -1;          // of a listener: closed for a moment to refuse a connection
};

// Connections to one address are shared: one socket serves all objects there. A closed one is replaced on
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
            // Not owned: a connection removes itself before it is destroyed.
            TRXConnection* connection = nullptr;
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
