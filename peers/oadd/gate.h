#pragma once

#include "oadd/servant.h"

namespace oadd {

// The interceptor of each connection to the daemon. Operations for trusted peers only are refused to others
// with CORBA_NO_PERMISSION. A request for a registered object, made with a reference that leads to this
// daemon, is forwarded to the object's server.
class Gate : public TRXServerInterceptor {
public:
    Gate(Daemon& daemon, int fd);
    ~Gate() override { close(); }

    IOP::IOR* locate_failed(CORBA_ULong requestId, const CORBA_OctetSequence& key,
                            TRXClosure& closure) override;
    CORBA_MarshalInBuffer* receive_request(const GIOP::RequestHeader& header, CORBA_Object*& target,
                                           CORBA_MarshalInBuffer* in, TRXClosure& closure) override;

    void disconnected(CORBA_Boolean) override { close(); }

private:
    void close();
    CORBA_Object* serverObject(const CORBA_OctetSequence& key) const;

    Daemon& daemon_;
    const int fd_; // -1 for calls inside this process
    const std::shared_ptr<Connection> connection_;
};

class GateFactory : public TRXServerInterceptorFactory {
public:
    explicit GateFactory(Daemon& daemon) : daemon_(daemon) {}
    TRXServerInterceptor* create(int fd, const IOP::TaggedProfile&) override { return new Gate(daemon_, fd); }

private:
    Daemon& daemon_;
};

} // namespace oadd
