#include "adapter/vsoa.h"

#include "adapter/adapter_factory.h"
#include "adapter/vgsrv.h"
#include "base/assertion.h"
#include "invoke/transport/loop_wait.h"
#include "invoke/transport/transport_settings.h"
#include "invoke/transport/viconn.h"
#include "marshal/reference/vutil.h"
#include "object/global_table.h"

#include <netinet/tcp.h>
#include <sys/socket.h>

using namespace harbolance;

TRXSimpleAdapter::TRXSimpleAdapter(const char* id, CORBA_ULong connectionMax)
    : TRXAdapter(id, true), _connection_max(connectionMax) {}

TRXSimpleAdapter::~TRXSimpleAdapter() {
    TRXSimpleAdapter::stop();
    dpDispatcher& loop = *dpDispatcher::instance();
    loop.stopTimer(this);
    if (_listener)
        loop.unlink(_listener->connection().fd());
    for (uint32_t i = _servers.next(0); i < _servers.capacity(); i = _servers.next(i + 1)) {
        TRXGIOPServer* server = _servers.slot(i).server;
        if (server->_refcount() > 1)
            server->adapter_gone();
        server->_remove_ref();
    }
}

void TRXSimpleAdapter::stop() {
    if (!is_active())
        return;
    deactivate();
    // Ends a wait in progress, which then tests the state.
    dpDispatcher::instance()->startTimer(0, 1, this);
}

void TRXSimpleAdapter::timerExpired(long, long) {}

void TRXSimpleAdapter::run() {
    TRXAdapter::run();
    AllAdapters::instance().flush();
}

// --- The listener ------------------------------------------------------------------------------------------

void TRXSimpleAdapter::set_listener(TRXGIOPConn* listener) {
    _listener = GIOPUse::another(listener);
    dpDispatcher::instance()->link(_listener->connection().fd(), dpDispatcher::readMask, this);
    activate();
}

TRXGIOPConn* TRXSimpleAdapter::listener() { return GIOPUse(_listener).detach(); }

IOP::TaggedProfile* TRXSimpleAdapter::profile(const CORBA_OctetSequence& key) {
    if (!_listener)
        throw CORBA_INV_OBJREF();
    return _listener->profile(&key);
}

int TRXSimpleAdapter::inputReady(int fd) {
    TRX_ASSERT(fd == _listener->connection().fd(), "vsoa");
    if (!is_active())
        return -1;
    try {
        accept_connection();
    } catch (const CORBA_Exception&) {
        // The new peer loses its connection; other connections and the listener are not affected.
    }
    return 0;
}

// When the process has no descriptor left, closes the connection that has been idle longest; without one the
// new peer is refused, because otherwise the listener would stay readable.
TRXGIOPConn* TRXSimpleAdapter::next_connection() {
    try {
        return _listener->clone();
    } catch (const CORBA_NO_RESOURCES&) {
        if (!close_oldest()) {
            static_cast<TRXTCPConn&>(_listener->connection()).refuse();
            return nullptr;
        }
    } catch (const CORBA_Exception&) {
        close_oldest();
        return nullptr;
    }
    try {
        return _listener->clone();
    } catch (const CORBA_Exception&) {
        return nullptr; // tried again in the next turn of the loop
    }
}

void TRXSimpleAdapter::accept_connection() {
    const bool full = _connection_max != 0 && connection_count() >= _connection_max;
    const bool refused = full && !close_oldest();
    const GIOPUse accepted(next_connection());
    if (!accepted)
        return;
    if (refused) {
        accepted->send_close(0);
        return;
    }
    const int fd = accepted->connection().fd();
    TRXGIOPServer* server = nullptr;
    try {
        server = new TRXGIOPServer(this, accepted.get(), true);
    } catch (...) {
        return; // a factory refused the connection, which `accepted` closes
    }
    if (!_servers.insert({fd, server}).added) {
        server->_remove_ref();
        throw CORBA_BAD_PARAM();
    }
    accepted->register_io();
}

// --- The accepted connections ------------------------------------------------------------------------------

CORBA_Boolean TRXSimpleAdapter::close_oldest() {
    timeval best{};
    ::gettimeofday(&best, nullptr);
    TRXGIOPServer* victim = nullptr;
    for (uint32_t i = _servers.next(0); i < _servers.capacity(); i = _servers.next(i + 1)) {
        TRXGIOPServer* server = _servers.slot(i).server;
        const TRXGIOPConn& connection = *server->connection();
        const bool idle = server->busy() == 0 && !connection.has_output();
        if (idle && timercmp(&connection.last_used(), &best, <)) {
            best = connection.last_used();
            victim = server;
        }
    }
    if (!victim)
        return 0;
    _servers.take(victim->fd());
    victim->close();
    return 1;
}

void TRXSimpleAdapter::connection_closed(TRXGIOPServer* server) {
    server->connection()->unregister_io();
    const auto* entry = _servers.find(server->fd());
    if (!entry || entry->server != server)
        return;
    _servers.take(server->fd());
    server->_remove_ref();
}

CORBA_UShort TRXSimpleAdapter::requests_in_progress() { return TRXGIOPServer::in_progress(); }

// --- The factory -------------------------------------------------------------------------------------------

TRXIIOPAdapterFactory::~TRXIIOPAdapterFactory() = default;

namespace {

void setSocketOption(const TRXAdapter& adapter, const char* property, int fd, int level, int option) {
    if (const auto value = adapter.number(property)) {
        const int number = static_cast<int>(*value);
        ::setsockopt(fd, level, option, &number, sizeof number);
    }
}

void setSocketOptions(const TRXAdapter& adapter, int fd) {
    setSocketOption(adapter, "OAsendbufsize", fd, SOL_SOCKET, SO_SNDBUF);
    setSocketOption(adapter, "OArcvbufsize", fd, SOL_SOCKET, SO_RCVBUF);
    setSocketOption(adapter, "OAtcpnodelay", fd, IPPROTO_TCP, TCP_NODELAY);
    if (const auto seconds = adapter.number("OAsocketlinger")) {
        const linger value{*seconds != 0, static_cast<int>(*seconds)};
        ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &value, sizeof value);
    }
}

} // namespace

CORBA_BOA* TRXIIOPAdapterFactory::create(int& argc, char** argv) {
    if (_adapter) {
        _adapter->parse(argc, argv, "-OA");
        return _adapter.get();
    }
    _adapter = std::make_unique<TRXSimpleAdapter>("TSingle");
    try {
        _adapter->parse(argc, argv, "-OA");
        const GIOPUse listener = open_listener();
        setSocketOptions(*_adapter, listener->connection().fd());
        _adapter->set_listener(listener.get());
    } catch (...) {
        _adapter.reset(); // the next call may have a usable port
        throw;
    }
    return _adapter.get();
}

GIOPUse TRXIIOPAdapterFactory::open_listener() {
    IIOP::ProfileBody body;
    const auto host = _adapter->property("OAipaddr");
    if (host)
        body.host = host->c_str();
    else
        body.host = TRXUtil::host_address(nullptr);
    if (!body.host.in())
        body.host = "127.0.0.1"; // a host whose name cannot be resolved can still serve itself
    body.port = static_cast<CORBA_UShort>(_adapter->number("OAport").value_or(0));
    if (const auto noCallback = _adapter->flag("OAnoCallback"))
        TRXGlobalTable::instance()->noCallback = *noCallback;
    IOP::TaggedProfile profile;
    profile.tag = IOP::TAG_INTERNET_IOP;
    profile.profile_data = IIOP::encoded(body);
    TRXConnFactory* transport = TRXConnFactory::find(profile.tag);
    if (!transport)
        throw CORBA_INITIALIZE();
    const TRXConnection_var listener(transport->create(profile));
    return GIOPUse(TRXGIOPConnFactory::of(profile.tag).connection(listener.get()));
}

void TRXIIOPAdapterFactory::shutdown() {
    if (_adapter)
        _adapter->stop();
}

CORBA_Object* TRXIIOPAdapterFactory::find_local(const IOP::TaggedProfile& profile,
                                                CORBA_Boolean checkAddress) {
    if (profile.tag != IOP::TAG_INTERNET_IOP || !_adapter)
        return nullptr;
    IIOP::ProfileBody body;
    TRXUtil::parse_profile_body(profile.profile_data, body);
    if (checkAddress) {
        const std::unique_ptr<IOP::TaggedProfile> ownProfile(_adapter->profile(body.object_key));
        const IIOP::ProfileBody own = IIOP::decoded(ownProfile->profile_data);
        if (CORBA_string_compare(own.host.in(), body.host.in()) != 0 || own.port != body.port)
            return nullptr;
    }
    return _adapter->find(body.object_key);
}
