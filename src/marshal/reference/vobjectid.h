#pragma once

#include "base/refcount.h"
#include "marshal/cdr/vbuf.h"
#include "marshal/sequence/octet_sequence.h"
#include "marshal/text/vstr.h"

// The id by which a server finds one of its objects, and by which a client can request an object without an
// exact address. An id is sent inside an object key, which is an encapsulation:
//
//     0  byte order    1  "QMC"    4  kind, 32 bits    8  what the kind's class writes
//
// Keys are read and made by TRXUtil (vutil.h).
class TRXObjectId : public TRXResource {
public:
    enum Kind : CORBA_ULong { ID_PERSISTENT = 0, ID_TRANSIENT = 1, ID_KEY = 3, ID_SERVICE = 4 };

    ~TRXObjectId() override;
    // Writes the body of the key, which follows the kind.
    virtual void write(CORBA_MarshalOutBuffer& buffer) const = 0;

    Kind type() const { return _kind; }

protected:
    explicit TRXObjectId(Kind kind) : _kind(kind) {}

private:
    Kind _kind;
};

// The constructors from a buffer read what `write` wrote.

// An object identified by its interface and its name; an anonymous object has an empty name.
class TRXPersistentId final : public TRXObjectId {
public:
    TRXPersistentId(const char* repositoryId, const char* objectName);
    explicit TRXPersistentId(CORBA_MarshalInBuffer& buffer);
    void write(CORBA_MarshalOutBuffer& buffer) const override;

    const char* rep_id() const { return _rep_id.in(); }
    const char* object_name() const { return _object_name.in(); }

private:
    CORBA_String_var _rep_id;
    CORBA_String_var _object_name;
};

// An object that exists only as long as the adapter that gave it its number.
class TRXTransientId final : public TRXObjectId {
public:
    TRXTransientId(const char* repositoryId, CORBA_ULong adapter, CORBA_ULong serial);
    explicit TRXTransientId(CORBA_MarshalInBuffer& buffer);
    void write(CORBA_MarshalOutBuffer& buffer) const override;

    const char* rep_id() const { return _rep_id.in(); }
    CORBA_ULong adapter() const { return _adapter; }
    CORBA_ULong serial() const { return _serial; }

private:
    CORBA_String_var _rep_id;
    CORBA_ULong _adapter = 0;
    CORBA_ULong _serial = 0;
};

class TRXKeyId final : public TRXObjectId {
public:
    explicit TRXKeyId(CORBA_ULong key);
    explicit TRXKeyId(CORBA_MarshalInBuffer& buffer);
    void write(CORBA_MarshalOutBuffer& buffer) const override;

    CORBA_ULong key() const { return _key; }

private:
    CORBA_ULong _key = 0;
};

// An object that a service makes on request, from the id.
class TRXServiceId final : public TRXObjectId {
public:
    TRXServiceId(const char* serviceName, const CORBA_OctetSequence& serviceId);
    explicit TRXServiceId(CORBA_MarshalInBuffer& buffer);
    void write(CORBA_MarshalOutBuffer& buffer) const override;

    const char* service_name() const { return _service_name.in(); }
    const CORBA_OctetSequence& service_id() const { return _service_id; }

private:
    CORBA_String_var _service_name;
    CORBA_OctetSequence _service_id;
};
