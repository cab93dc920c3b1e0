#pragma once

#include "adapter/adapter_factory.h"
#include "invoke/giop/giop_connections.h"
#include "net/dispatcher.h"

// An adapter with one listener, served by the global event loop. Each accepted connection has a
// TRXGIOPServer.
class TRXSimpleAdapter : public TRXAdapter, public dpIOHandler {
public:
    explicit TRXSimpleAdapter(const char* id, CORBA_ULong connectionMax = 1024);
    ~TRXSimpleAdapter() override;

    void stop() override;
    void connection_max(CORBA_ULong count) override { _connection_max = count; }
    CORBA_ULong connection_max() override { return _connection_max; }
    CORBA_ULong connection_count() override { return _servers.size(); }
    void connection_closed(TRXGIOPServer* server) override;
    void run() override; // replies that are queued at the end are still sent
    IOP::TaggedProfile* profile(const CORBA_OctetSequence& key) override;

    // Closes the accepted connection that has been idle longest; false when all are in use.
    virtual CORBA_Boolean close_oldest();
    // Takes its own use of the connection; from then on the adapter is active.
    virtual void set_listener(TRXGIOPConn* listener);
    virtual TRXGIOPConn* listener(); // with one use, owned by the caller, or null
    virtual CORBA_UShort requests_in_progress();

    int inputReady(int fd) override;
    void timerExpired(long sec, long usec) override;

private:
    struct Traits : harbolance::GrowAtNineTenths {
        struct Entry {
            int fd = -1;
            TRXGIOPServer* server = nullptr; // holds a reference
        };
        static bool isFree(const Entry& entry) { return !entry.server; }
        static uint32_t hash(int fd) { return static_cast<uint32_t>(fd); }
        static uint32_t hash(const Entry& entry) { return hash(entry.fd); }
        static bool equal(const Entry& stored, int fd) { return stored.fd == fd; }
        static bool equal(const Entry& stored, const Entry& entry) { return stored.fd == entry.fd; }
    };

    void accept_connection();
    TRXGIOPConn* next_connection();

    harbolance::GIOPUse _listener;
    CORBA_ULong _connection_max; // 0 for no limit
    harbolance::HashTable<Traits> _servers{16};
};

// Makes the process's TRXSimpleAdapter, "TSingle", and opens its listener: at the host OAipaddr or this
// host's address, and the port OAport or any port.
class TRXIIOPAdapterFactory final : public TRXAdapterFactory {
public:
    TRXIIOPAdapterFactory() : TRXAdapterFactory("TSingle") {}
    ~TRXIIOPAdapterFactory() override;

    CORBA_BOA* create(int& argc, char** argv) override;
    void shutdown() override;
    CORBA_Object* find_local(const IOP::TaggedProfile& profile, CORBA_Boolean checkAddress) override;
    TRXAdapter* adapter() override { return _adapter.get(); }

private:
    harbolance::GIOPUse open_listener();

    std::unique_ptr<TRXSimpleAdapter> _adapter;
};
