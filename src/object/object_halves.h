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

// What an object asks of the record that makes it a stub. The layer of the calls derives it (TRXStubInfo).
class StubHalf {
public:
    StubHalf() = default;
    StubHalf(const StubHalf&) = delete;
    StubHalf& operator=(const StubHalf&) = delete;
    virtual ~StubHalf() = default;

    virtual const IOP::IOR& original_ior() const = 0; // what the stub was bound to
    virtual bool is_bound() const = 0;

    // Makes the stub stand for an object: of this process, of a reference, of another stub.
    virtual void bind(CORBA_Object* localTarget) = 0;
    virtual void bind(const IOP::IOR& ior, bool connectNow) = 0;
    virtual void copy(CORBA_Object* stub) = 0;

    // A request, into which the arguments are written; the caller owns the buffer.
    virtual CORBA_MarshalOutBuffer* create_request(const char* operation, CORBA_Boolean responseExpected) = 0;
    virtual void send_oneway(CORBA_MarshalOutBuffer* request) = 0;
    // The results; the caller owns the buffer.
    virtual CORBA_MarshalInBuffer* invoke(CORBA_MarshalOutBuffer* request) = 0;
    // The stub goes, and is still an object. Waits for nothing.
    virtual void leave() = 0;

    CORBA_String_var name;             // of the object or service; empty when it is not known
    CORBA_OctetSequence_var principal; // sent with each request; null for none
    CORBA_BindOptions options;
};

// What an object asks of the record that makes it a servant. The layer of the adapters derives it
// (TRXSkelInfo).
class SkelHalf {
public:
    enum Style : CORBA_ULong { persistent = 0, transient = 1, service = 2 };

    SkelHalf() = default;
    SkelHalf(const SkelHalf&) = delete;
    SkelHalf& operator=(const SkelHalf&) = delete;
    virtual ~SkelHalf() = default;

    // The reference that is written for the object. It lives until the object enters or leaves an adapter.
    virtual const IOP::IOR& ior() = 0;
    virtual bool is_in_adapter() const = 0;
    virtual CORBA_ImplementationDef* implementation() const = 0; // a copy, or null
    // Makes the object one of a service, found by the service's name and the id.
    virtual void serve(const char* serviceName, const CORBA_OctetSequence& id) = 0;
    // A buffer that begins the reply to the request behind `pdata`.
    virtual CORBA_MarshalOutBuffer* prepare_reply(void* pdata) = 0;
    // Takes the object out of its adapters. May run code of the servant.
    virtual void deactivate() = 0;

    CORBA_String_var name{""};
    Style style = persistent;
    const CORBA_TypeInfo* type = nullptr; // once the object is registered
    bool forwarded = false;               // the object is reached through a stub even in this process
};

// The upper layers install what makes the two halves. A half whose maker is not installed raises
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

// What this layer and the ORB ask of the object adapters. The layer of the adapters derives and installs it;
// without one a process has no objects of its own.
class ObjectAdapters {
public:
    // The object of the key, or null: the caller's reference. Asks one adapter after another.
    virtual CORBA_Object* find(const CORBA_OctetSequence& key) = 0;
    // The object of a reference, whose address has to be this process's with `checkAddress`.
    virtual CORBA_Object* find(const IOP::IOR& ior, bool checkAddress) = 0;
    // The adapter of the request being served, or else of the servant, or else the default one; null without
    // any.
    virtual CORBA_BOA* boaOf(const SkelHalf* servant) = 0;
    // The adapter with that id, made at the first call; null for an unknown id. Takes the -OA words out of
    // `argv`.
    virtual CORBA_BOA* make(const char* id, int& argc, char** argv) = 0;
    // Ends the serving of requests: no connection is accepted any more, and what serves returns.
    virtual void shutDown() = 0;
    // Waits until what is queued for peers has left, at most for the stall limit.
    virtual void flush() = 0;

    static void install(ObjectAdapters* adapters);
    static ObjectAdapters* installed(); // null when there is none

protected:
    constexpr ObjectAdapters() = default;
    ~ObjectAdapters() = default;
};

} // namespace harbolance
