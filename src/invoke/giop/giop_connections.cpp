#include "invoke/giop/giop_connections.h"

namespace harbolance {

[[gnu::hot]] GIOPUse GIOPUse::another(TRXGIOPConn* connection) {
    if (connection)
        connection->add_use();
    return GIOPUse(connection);
}

[[gnu::hot]] void GIOPUse::reset() {
    if (TRXGIOPConn* connection = detach())
        connection->factory().release_connection(connection);
}

namespace {

// The factories by transport.
struct FactoryTraits : GrowWhenFull {
    struct Entry {
        const TRXConnFactory* transport = nullptr;
        TRXGIOPConnFactory* connections = nullptr;
    };
    static bool isFree(const Entry& entry) { return !entry.transport; }
    static uint32_t hash(const TRXConnFactory* transport) { return pointerHash(transport); }
    static uint32_t hash(const Entry& entry) { return hash(entry.transport); }
    static bool equal(const Entry& stored, const TRXConnFactory* transport) {
        return stored.transport == transport;
    }
    static bool equal(const Entry& stored, const Entry& entry) { return equal(stored, entry.transport); }
};

bool isEarlier(const TRXGIOPConn& a, const TRXGIOPConn& b) {
    return timercmp(&a.last_used(), &b.last_used(), <);
}

} // namespace

} // namespace harbolance

using namespace harbolance;

TRXGIOPConnFactory& TRXGIOPConnFactory::of(CORBA_ULong tag) {
    TRXConnFactory* transport = TRXConnFactory::find(tag);
    if (!transport)
        throw CORBA_INITIALIZE();
    // Never destroyed, because static objects may still give back uses when the program ends.
    static auto& all = *new HashTable<FactoryTraits>(16);
    if (const auto* found = all.find(transport))
        return *found->connections;
    auto* made = new TRXGIOPConnFactory;
    all.insert({transport, made});
    return *made;
}

TRXGIOPConnFactory::~TRXGIOPConnFactory() = default;

TRXGIOPConn* TRXGIOPConnFactory::connection(TRXConnection* connection) {
    if (TRXGIOPConn* const* active = _active.find(connection))
        return GIOPUse::another(*active).detach();
    if (_idle.find(connection)) {
        TRXGIOPConn* revived = _idle.take(connection);
        _active.insert(revived);
        revived->add_use();
        return revived;
    }
    const bool full = _max_connections != 0 && connections() >= _max_connections;
    if (full && !close_oldest())
        throw CORBA_NO_RESOURCES();
    auto* made = new TRXGIOPConn(connection);
    if (connection->state() == TRXConnection::CONNECTED)
        _active.insert(made);
    return made;
}

[[gnu::hot]] void TRXGIOPConnFactory::release_connection(TRXGIOPConn* connection) {
    if (--connection->_use_count > 0)
        return;
    if (connection->connection().state() != TRXConnection::CONNECTED) {
        remove(connection);
        return;
    }
    if (_active.take(&connection->connection()))
        _idle.insert(connection);
    connection->became_idle();
    cool();
}

void TRXGIOPConnFactory::review_idle(TRXGIOPConn* connection) {
    if (connection->connection().state() == TRXConnection::CONNECTED)
        cool();
    else if (_idle.find(&connection->connection()))
        remove(connection);
}

// Removes the connection from the map that contains it.
void TRXGIOPConnFactory::remove(TRXGIOPConn* connection) {
    if (!_active.take(&connection->connection()))
        _idle.take(&connection->connection());
    connection->_remove_ref();
}

void TRXGIOPConnFactory::cool() {
    if (_max_idle_time != 0 && _idle.size() < _cool_threshold)
        return;
    timeval cutoff{};
    ::gettimeofday(&cutoff, nullptr);
    cutoff.tv_sec -= static_cast<time_t>(_max_idle_time);
    std::vector<TRXGIOPConn*> old;
    for (uint32_t i = _idle.next(0); i < _idle.capacity(); i = _idle.next(i + 1)) {
        TRXGIOPConn* connection = _idle.slot(i);
        const bool expired = _max_idle_time == 0 || !timercmp(&connection->last_used(), &cutoff, >);
        if (expired && !connection->has_output())
            old.push_back(connection);
    }
    if (old.empty() && _idle.size() > _cool_threshold) {
        if (TRXGIOPConn* connection = oldest(_idle, [](TRXGIOPConn& idle) { return !idle.has_output(); }))
            old.push_back(connection);
    }
    for (TRXGIOPConn* connection : old)
        remove(connection);
}

CORBA_Boolean TRXGIOPConnFactory::close_oldest() {
    if (TRXGIOPConn* idle = oldest(_idle, [](TRXGIOPConn& each) { return !each.has_output(); })) {
        remove(idle);
        return 1;
    }
    TRXGIOPConn* active = oldest(_active, [](TRXGIOPConn& each) { return !each.has_pending(); });
    if (!active)
        return 0;
    // Its users find it closed; it is destroyed when the last of them gives its use back.
    _active.take(&active->connection());
    return active->close_if_unused();
}

TRXGIOPConn* TRXGIOPConnFactory::oldest(Map& map, bool (*closable)(TRXGIOPConn&)) {
    TRXGIOPConn* result = nullptr;
    for (uint32_t i = map.next(0); i < map.capacity(); i = map.next(i + 1)) {
        TRXGIOPConn* each = map.slot(i);
        if (closable(*each) && (!result || isEarlier(*each, *result)))
            result = each;
    }
    return result;
}

// --- The buffer of a request -------------------------------------------------------------------------------

[[gnu::hot]] TRXMarshalOutBuffer* TRXMarshalOutBuffer::create(CORBA_ULong size) {
    static Pool& pool = *new Pool;
    return pool.take(size);
}

void TRXMarshalOutBuffer::give_up_reply() {
    if (std::exchange(_reply_wanted, false) && _connection)
        _connection->give_up(_header.request_id);
}

[[gnu::hot]] void TRXMarshalOutBuffer::recycle(CORBA_ULong) {
    // Held, because data of an interceptor may make a call when it is destroyed, and the pool must see that
    // the buffer is in use.
    const CORBA_MarshalOutBuffer_var held(CORBA_MarshalOutBuffer::_duplicate(this));
    give_up_reply();
    rewind();
    _closure.clear();
    _connection.reset();
    _header.service_context.length(0);
}
