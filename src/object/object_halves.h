#pragma once

#include "marshal/cdr/vbuf.h"
#include "marshal/reference/vior.h"
#include "object/bind_options.h"

#include <memory>

class CORBA_BOA;
class CORBA_ImplementationDef;
class CORBA_Object;
class CORBA_TypeInfo;

namespace harbolance {

// The client's half of an object, as the object uses it. The layer of the calls derives it (TRXStubInfo).
class StubHalf {
public:
    StubHalf() = default;
    StubHalf(const StubHalf&) = delete;
    StubHalf& operator=(const StubHalf&) = delete;
    virtual ~StubHalf() = default;

    virtual const IOP::IOR& original_ior() const = 0; // the reference that was bound
    virtual bool is_bound() const = 0;

    // Binds the stub: to an object of this process, to a reference, or to what another stub is bound to.
    virtual void bind(CORBA_Object* localTarget) = 0;
    virtual void bind(const IOP::IOR& ior, bool connectNow) = 0;
    virtual void copy(CORBA_Object* stub) = 0;

    // A new request, into which the arguments are written. The caller owns the buffer.
    virtual CORBA_MarshalOutBuffer* create_request(const char* operation, CORBA_Boolean responseExpected) = 0;
    virtual void send_oneway(CORBA_MarshalOutBuffer* request) = 0;
    // Sends the request and waits for the reply. The caller owns the buffer with the results.
    virtual CORBA_MarshalInBuffer* invoke(CORBA_MarshalOutBuffer* request) = 0;
    // Called before the stub is destroyed. Does not wait.
    virtual void leave() = 0;

    CORBA_String_var name;             // of the object or service; empty when it is not known
    CORBA_OctetSequence_var principal; // sent with each request; null for none
    CORBA_BindOptions options;
};

// The server's half of an object, as the object uses it. The layer of the adapters derives it (TRXSkelInfo).
class SkelHalf {
public:
    enum Style : CORBA_ULong { persistent = 0, transient = 1, service = 2 };

    SkelHalf() = default;
    SkelHalf(const SkelHalf&) = delete;
    SkelHalf& operator=(const SkelHalf&) = delete;
    virtual ~SkelHalf() = default;

    // The reference under which the object is published. Valid until the object enters or leaves an adapter.
    virtual const IOP::IOR& ior() = 0;
    virtual bool is_in_adapter() const = 0;
    virtual CORBA_ImplementationDef* implementation() const = 0; // a copy, owned by the caller, or null
    // Makes the object part of a service; clients find it by the service's name and the id.
    virtual void serve(const char* serviceName, const CORBA_OctetSequence& id) = 0;
    // A buffer that begins the reply to the request `pdata`. The caller owns it.
    virtual CORBA_MarshalOutBuffer* prepare_reply(void* pdata) = 0;
    // Removes the object from its adapters. May call the servant.
    virtual void deactivate() = 0;

    CORBA_String_var name{""};
    Style style = persistent;
    const CORBA_TypeInfo* type = nullptr; // null until the object is registered
    bool forwarded = false;               // reached through a stub even inside this process
};

// The upper layers install the functions that make the two halves. Without one, making that half raises
// CORBA_INITIALIZE.
class ObjectHalves {
public:
    using MakeStub = std::unique_ptr<StubHalf> (*)(CORBA_Object*);
    using MakeSkel = std::unique_ptr<SkelHalf> (*)(CORBA_Object*);

    static void install(MakeStub make);
    static void install(MakeSkel make);
    static std::unique_ptr<StubHalf> makeStub(CORBA_Object* owner);
    static std::unique_ptr<SkelHalf> makeSkel(CORBA_Object* owner);
};

// The object adapters, as this layer and the ORB use them. The layer of the adapters derives and installs it;
// without it a process has no servants.
class ObjectAdapters {
public:
    // The object with that key, or null; the caller owns the reference. The adapters are searched in turn.
    virtual CORBA_Object* find(const CORBA_OctetSequence& key) = 0;
    // The object of a reference, or null. With `checkAddress` the reference's address must be this process's.
    virtual CORBA_Object* find(const IOP::IOR& ior, bool checkAddress) = 0;
    // The adapter of the request being served, else that of the servant, else the default one; null without
    // any.
    virtual CORBA_BOA* boaOf(const SkelHalf* servant) = 0;
    // The adapter with that id, made by the first call; null for an unknown id. Removes the -OA words from
    // `argv`.
    virtual CORBA_BOA* make(const char* id, int& argc, char** argv) = 0;
    // Stops serving: no more connections are accepted, and the loops that serve requests return.
    virtual void shutDown() = 0;
    // Waits until queued output has been sent, at most for the stall limit.
    virtual void flush() = 0;

    static void install(ObjectAdapters* adapters);
    static ObjectAdapters* installed(); // null when there is none

protected:
    constexpr ObjectAdapters() = default;
    ~ObjectAdapters() = default;
};

} // namespace harbolance
