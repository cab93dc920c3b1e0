#pragma once

#include "base/hash_table.h"
#include "invoke/giop/closure.h"
#include "invoke/giop/vgconn.h"
#include "marshal/cdr/buffer_pool.h"

#include <utility>

namespace harbolance {

constexpr CORBA_ULong initialBufferSize = 255; // octets, of a message that is to be written

// Holds one use of a GIOP connection, or nothing. A plain pointer is taken over.
class GIOPUse {
public:
    GIOPUse() = default;
    explicit GIOPUse(TRXGIOPConn* owned) : _connection(owned) {}
    static GIOPUse another(TRXGIOPConn* connection);
    GIOPUse(const GIOPUse& other) : GIOPUse(another(other._connection)) {}
    GIOPUse(GIOPUse&& other) noexcept : _connection(std::exchange(other._connection, nullptr)) {}
    ~GIOPUse() { reset(); }

    GIOPUse& operator=(GIOPUse other) noexcept {
        std::swap(_connection, other._connection);
        return *this;
    }
    void reset();

    TRXGIOPConn* get() const { return _connection; }
    TRXGIOPConn* operator->() const { return _connection; }
    TRXGIOPConn& operator*() const { return *_connection; }
    explicit operator bool() const { return _connection != nullptr; }
    TRXGIOPConn* detach() { return std::exchange(_connection, nullptr); } // the caller owns the use

private:
    TRXGIOPConn* _connection = nullptr;
};

} // namespace harbolance

// The GIOP connections of one transport: those in use, and idle ones, of which old ones are closed. Each
// client connection is in one of the two maps; accepted connections are in neither.
class TRXGIOPConnFactory {
public:
    TRXGIOPConnFactory() = default;
    TRXGIOPConnFactory(const TRXGIOPConnFactory&) = delete;
    TRXGIOPConnFactory& operator=(const TRXGIOPConnFactory&) = delete;
    virtual ~TRXGIOPConnFactory();

    // Closes the connection that has been idle longest, or else the least recently used one in use on which
    // nothing is outstanding; false when there is none.
    virtual CORBA_Boolean close_oldest();
    // The GIOP connection for `connection`, with one use owned by the caller. Raises CORBA_NO_RESOURCES at
    // the limit of connections when none can be closed.
    virtual TRXGIOPConn* connection(TRXConnection* connection);

    // Gives one use back. After the last one the connection becomes idle, or is destroyed if it is closed.
    void release_connection(TRXGIOPConn* connection);
    // Call when an idle connection has been closed, or its last output has been sent.
    void review_idle(TRXGIOPConn* connection);
    // Closes connections that have been idle too long. Called when a connection becomes idle.
    void cool();

    CORBA_ULong max_idle_time() const { return _max_idle_time; } // seconds
    void max_idle_time(CORBA_ULong seconds) { _max_idle_time = seconds; }
    // This number of idle connections is kept whatever their age.
    CORBA_ULong cool_threshold() const { return _cool_threshold; }
    void cool_threshold(CORBA_ULong count) { _cool_threshold = count; }
    CORBA_ULong max_connections() const { return _max_connections; } // 0 for no limit
    void max_connections(CORBA_ULong count) { _max_connections = count; }
    CORBA_ULong connections() const { return _active.size() + _idle.size(); }

    // The connections of the transport with this tag, made on first use; raises CORBA_INITIALIZE without such
    // a transport.
    static TRXGIOPConnFactory& of(CORBA_ULong tag);

private:
    struct Traits : harbolance::GrowWhenFull {
        using Entry = TRXGIOPConn*;
        static bool isFree(Entry entry) { return !entry; }
        static uint32_t hash(const TRXConnection* connection) { return harbolance::pointerHash(connection); }
        static uint32_t hash(Entry entry) { return hash(&entry->connection()); }
        static bool equal(Entry stored, const TRXConnection* connection) {
            return &stored->connection() == connection;
        }
        static bool equal(Entry stored, Entry entry) { return equal(stored, &entry->connection()); }
    };
    using Map = harbolance::HashTable<Traits>;

    TRXGIOPConn* oldest(Map& map, bool (*closable)(TRXGIOPConn&));
    void remove(TRXGIOPConn* connection);

    Map _active{16};
    Map _idle{16};
    CORBA_ULong _max_idle_time = 300;
    CORBA_ULong _cool_threshold = 5;
    CORBA_ULong _max_connections = 0;
};

// A request that is being built: its connection, its header, and the closure of the interceptors.
class TRXMarshalOutBuffer final : public CORBA_MarshalOutBuffer,
                                  public harbolance::FreeListed<TRXMarshalOutBuffer> {
public:
    using Pool = TRXBufferPool<TRXMarshalOutBuffer>;

    explicit TRXMarshalOutBuffer(CORBA_ULong size) : CORBA_MarshalOutBuffer(size) {}
    ~TRXMarshalOutBuffer() override { give_up_reply(); }

    // Takes a buffer from the pool; the caller owns one reference.
    static TRXMarshalOutBuffer* create(CORBA_ULong size = harbolance::initialBufferSize);

    TRXGIOPConn* connection() const { return _connection.get(); }
    void connection(harbolance::GIOPUse use) { _connection = std::move(use); }
    CORBA_ULong request_id() const { return _header.request_id; }
    GIOP::RequestHeader& header() { return _header; }
    TRXClosure& closure() { return _closure; }
    // For a request that was sent without waiting: when the buffer is released before the reply is taken, the
    // reply is given up.
    void reply_wanted(bool wanted) { _reply_wanted = wanted; }

    void recycle(CORBA_ULong size);

private:
    void give_up_reply();

    harbolance::GIOPUse _connection;
    GIOP::RequestHeader _header;
    TRXClosure _closure;
    bool _reply_wanted = false;
};

using TRXMarshalOutBuffer_var = TRXVar<TRXMarshalOutBuffer>;
