#include "oadd/gate.h"

#include "marshal/reference/vutil.h"
#include "oadd/log.h"

namespace oadd {

Gate::Gate(Daemon& daemon, int fd)
    : daemon_(daemon), fd_(fd), connection_(new Connection{daemon.access.isTrusted(fd)}) {
    daemon_.connections[fd_] = connection_;
}

// Called when the connection ends: marks it as closed for look-ups that wait for the peer. Its entry is
// removed only if the socket's number does not belong to another connection already.
void Gate::close() {
    connection_->open = false;
    const auto found = daemon_.connections.find(fd_);
    if (found != daemon_.connections.end() && found->second == connection_)
        daemon_.connections.erase(found);
    daemon_.lookups.connectionEnded();
}

// The server's object, owned by the caller, or null for an object that is not registered.
CORBA_Object* Gate::serverObject(const CORBA_OctetSequence& key) const {
    const ObjectName object = nameInKey(key);
    const auto entry = daemon_.references ? daemon_.registrations.ofRequest(object) : nullptr;
    if (!entry || object.repId.empty())
        return nullptr;
    return daemon_.lookups.find(entry->object, -1, Lookups::Purpose::request, connection_);
}

// Exceptions of the daemon's interface are unknown to a client of another interface, so they are mapped.
CORBA_MarshalInBuffer* Gate::receive_request(const GIOP::RequestHeader& header, CORBA_Object*& target,
                                             CORBA_MarshalInBuffer*, TRXClosure&) {
    if (target) {
        if (!connection_->trusted && !Access::isOpenToAll(header.operation)) {
            log(LogLevel::warning,
                std::string("'") + header.operation + "' is refused to a peer of another host; see --allow");
            throw CORBA_NO_PERMISSION();
        }
        return nullptr;
    }
    try {
        target = serverObject(*header.object_key);
    } catch (const Activation::NotResponding&) {
        throw CORBA_NO_RESPONSE();
    } catch (const Activation::Busy&) {
        throw CORBA_NO_RESOURCES();
    } catch (const CORBA_UserException&) {
        throw CORBA_NO_IMPLEMENT();
    }
    return nullptr;
}

// A client that must repeat its wait is forwarded to this daemon again.
IOP::IOR* Gate::locate_failed(CORBA_ULong, const CORBA_OctetSequence& key, TRXClosure&) {
    try {
        const CORBA_Object_var found(serverObject(key));
        return found.in() ? daemon_.references->iorOf(found.in()) : nullptr;
    } catch (const CORBA_TRANSIENT&) {
        return daemon_.references->iorToHere(key);
    } catch (const CORBA_Exception&) {
        return nullptr;
    }
}

} // namespace oadd
