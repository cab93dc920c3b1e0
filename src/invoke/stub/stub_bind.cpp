#include "base/assertion.h"
#include "base/standard_streams.h"
#include "invoke/stub/profile_orb.h"
#include "invoke/stub/reference_connection.h"
#include "invoke/stub/vstub.h"
#include "invoke/transport/loop_wait.h"
#include "marshal/marshal_settings.h"
#include "marshal/reference/vutil.h"
#include "object/corba_orb.h"
#include "object/global_table.h"
#include "object/vobject.h"

#include <cstdlib>

// How a stub is bound, and how it gets its connection.

using namespace harbolance;

namespace {

// Limit of nested waits, where each call is made by a servant that is served inside the wait of the previous
// one. Without it clients could exhaust the stack.
constexpr unsigned mostNested = 128;

constinit LocalCalls* localCalls = nullptr;

} // namespace

void LocalCalls::install(LocalCalls* calls) { localCalls = calls; }

LocalCalls& LocalCalls::installed() {
    if (!localCalls)
        throw CORBA_INITIALIZE();
    return *localCalls;
}

TRXStubInfo::TRXStubInfo(CORBA_Object* owner)
    : _object(owner), _send_bind(TRXGlobalTable::instance()->backCompat),
      _orb(ProfileORB::find(IOP::TAG_INTERNET_IOP)) {
    if (!currentORB()) {
        standardError() << "Harbolance: Objects cannot be bound before ORB_init"
                        << " is called" << std::endl;
        std::abort();
    }
    const TRXGlobalTable& table = *TRXGlobalTable::instance();
    options = table.defaultBindOptions;
    if (table.defaultPrincipal.in())
        principal = new CORBA_OctetSequence(*table.defaultPrincipal);
}

TRXStubInfo::~TRXStubInfo() { CORBA_release(_local_target); }

TRXStubInfo* TRXStubInfo::of(const CORBA_Object* object) {
    return static_cast<TRXStubInfo*>(object->_object_impl()->stub.get());
}

// --- Binding to something ----------------------------------------------------------------------------------

void TRXStubInfo::make_interceptor() {
    TRXChainClientIntercepFactory* factory = TRXChainClientIntercepFactory::instance();
    if (factory && !_interceptor)
        _interceptor = TRXRef<TRXClientInterceptor>(factory->create(_object));
}

void TRXStubInfo::bind(CORBA_Object* localTarget) {
    SkelHalf* skel = localTarget->_object_impl()->skel.get();
    TRX_ASSERT(skel != nullptr, "vstub");
    CORBA_release(std::exchange(_local_target, CORBA_Object::_duplicate(localTarget)));
    _original_ior = skel->ior();
    _current_ior = _original_ior;
    make_interceptor();
    constexpr int noSocket = -1;
    TRXChainBindInterceptor& chain = *TRXChainBindInterceptor::instance();
    TRXClosure closure;
    chain.bind(_current_ior, _object, closure);
    chain.bind_succeeded(_current_ior, _object, noSocket, closure);
}

void TRXStubInfo::bind(const IOP::IOR& ior, bool connectNow) {
    _original_ior = ior;
    _current_ior = ior;
    try {
        CORBA_OctetSequence key;
        TRXUtil::object_key_of(ior, IOP::TAG_INTERNET_IOP, key);
        const TRXRef<TRXObjectId> id(TRXUtil::id_from_key(key));
        if (id) {
            _id_kind = id->type();
            if (id->type() == TRXObjectId::ID_PERSISTENT)
                name = static_cast<const TRXPersistentId&>(*id).object_name();
            else if (id->type() == TRXObjectId::ID_SERVICE)
                name = static_cast<const TRXServiceId&>(*id).service_name();
        }
    } catch (const CORBA_Exception&) {
        // a key of another ORB, or none, tells nothing about the object
    }
    make_interceptor();
    if (connectNow)
        connect_now();
}

void TRXStubInfo::bind(const char* repId, const char* objectName, const char* host,
                       const CORBA_BindOptions* newOptions, bool connectNow) {
    if (newOptions)
        options = *newOptions;
    name = objectName;
    _id_kind = TRXObjectId::ID_PERSISTENT;
    const std::unique_ptr<IOP::IOR> named(_orb->locate_reference(repId, objectName, host));
    _original_ior = *named;
    _ior_changed = true;
    _key = TRXUtil::key_from_id(TRXPersistentId(repId, objectName ? objectName : ""));
    _current_ior = _original_ior;
    make_interceptor();
    if (connectNow)
        connect_now();
}

void TRXStubInfo::copy(CORBA_Object* stub) {
    const TRXStubInfo* other = of(stub);
    TRX_ASSERT(other != nullptr, "vstub");
    _original_ior = other->_original_ior;
    _connection = other->_connection;
    _current_ior = other->_current_ior;
    _key = other->_key;
    principal = other->principal;
    options = other->options;
    _state = other->_state;
    name = other->name;
    _send_bind = other->_send_bind;
}

// --- The connection ----------------------------------------------------------------------------------------

void TRXStubInfo::connect_now() {
    if (!connection())
        throw CORBA_NO_IMPLEMENT();
}

[[gnu::hot]] GIOPUse TRXStubInfo::connection() {
    if (LoopWait::nested() > mostNested)
        throw CORBA_NO_RESOURCES();
    if (_state == _FORWARD) {
        _connection.reset();
    } else if (_connection && _connection->connection().state() == TRXConnection::CLOSED) {
        _state = _UNBOUND;
        _connection.reset();
    }
    if (!is_bound())
        await_retry();
    if (!is_bound()) // other code may have bound it during the wait
        rebind();
    return _connection;
}

// Waits before another attempt, so that a server that accepts connections and closes them at once is not
// called in a busy loop. The first loss of a connection that was used, or was open for some time, does not
// cause a wait.
void TRXStubInfo::await_retry() {
    const bool useless = _state == _UNBOUND && !_answered &&
                         std::chrono::steady_clock::now() < _bound_at + std::chrono::seconds(1);
    if (useless)
        LoopWait().pause(_backoff.next());
    else
        _backoff.reset();
}

void TRXStubInfo::rebind() {
    const bool first = _state == _INITIAL;
    TRX_ASSERT(first || _state == _UNBOUND || _state == _FORWARD, "vstub");
    if (_state == _FORWARD)
        _state = _UNBOUND;
    else
        _current_ior = _original_ior;

    TRXChainBindInterceptor& chain = *TRXChainBindInterceptor::instance();
    TRXClosure closure;
    for (;;) {
        if (first)
            chain.bind(_current_ior, _object, closure);
        else
            chain.rebind(_current_ior, _object, closure);
        if (std::exchange(_ior_changed, false))
            _original_ior = _current_ior;
        try {
            GIOPUse made = connectionFor(_current_ior, options.connectTimeout);
            if (!made)
                throw CORBA_NO_IMPLEMENT();
            _connection = std::move(made);
            break;
        } catch (const CORBA_Exception& failure) {
            const bool again = (first ? chain.bind_failed(_current_ior, _object, closure)
                                      : chain.rebind_failed(_current_ior, _object, closure)) != 0;
            if (CORBA_Exception::_is_a(&failure, CORBA_NO_RESOURCES::_descriptor()))
                throw CORBA_NO_RESOURCES();
            if (!again)
                throw;
        }
    }
    _answered = false;
    _bound_at = std::chrono::steady_clock::now();
    const int fd = _connection->connection().fd();
    if (first)
        chain.bind_succeeded(_current_ior, _object, fd, closure);
    else
        chain.rebind_succeeded(_current_ior, _object, fd, closure);
    settle_binding(first);
}

// Stores the results of the new connection: the ORB of its profile, and the object's key in it.
void TRXStubInfo::settle_binding(bool first) {
    const bool announce = first && _id_kind != unknownKind && bind_is_announced();
    _key = ProfileORB::key_of(_current_ior, &_orb);
    _state = first ? _BOUND : _REBOUND;
    if (announce)
        send_bind_request();
}

// Whether the server is told that a client has bound. Off without the property, but `__unbind` then follows
// what older peers expect.
bool TRXStubInfo::bind_is_announced() {
    const TRXPropertyList& list = _orb->properties();
    auto flag = list.flag("ORBcallbindunbind");
    if (!flag)
        flag = list.flag("ORBsendBind");
    if (!flag)
        return false;
    _send_bind = *flag;
    return _send_bind;
}

void TRXStubInfo::send_bind_request() {
    for (;;) {
        try {
            const CORBA_MarshalOutBuffer_var request(create_request("__bind", 1));
            release_buffer(invoke(request.in(), nullptr));
            return;
        } catch (const CORBA_TRANSIENT&) {
            // the connection was lost, or the server forwarded the client
        }
    }
}
