#include "marshal/reference/vobjectid.h"

namespace {

const char* orEmpty(const char* text) { return text ? text : ""; }

} // namespace

TRXObjectId::~TRXObjectId() = default;

TRXPersistentId::TRXPersistentId(const char* repositoryId, const char* objectName)
    : TRXObjectId(ID_PERSISTENT), _rep_id(orEmpty(repositoryId)), _object_name(orEmpty(objectName)) {}

TRXPersistentId::TRXPersistentId(CORBA_MarshalInBuffer& buffer) : TRXObjectId(ID_PERSISTENT) {
    buffer >> _rep_id >> _object_name;
}

void TRXPersistentId::write(CORBA_MarshalOutBuffer& buffer) const {
    buffer << _rep_id.in() << _object_name.in();
}

TRXTransientId::TRXTransientId(const char* repositoryId, CORBA_ULong adapter, CORBA_ULong serial)
    : TRXObjectId(ID_TRANSIENT), _rep_id(orEmpty(repositoryId)), _adapter(adapter), _serial(serial) {}

TRXTransientId::TRXTransientId(CORBA_MarshalInBuffer& buffer) : TRXObjectId(ID_TRANSIENT) {
    buffer >> _rep_id >> _adapter >> _serial;
}

void TRXTransientId::write(CORBA_MarshalOutBuffer& buffer) const {
    buffer << _rep_id.in() << _adapter << _serial;
}

TRXKeyId::TRXKeyId(CORBA_ULong key) : TRXObjectId(ID_KEY), _key(key) {}

TRXKeyId::TRXKeyId(CORBA_MarshalInBuffer& buffer) : TRXObjectId(ID_KEY) { buffer >> _key; }

void TRXKeyId::write(CORBA_MarshalOutBuffer& buffer) const { buffer << _key; }

TRXServiceId::TRXServiceId(const char* serviceName, const CORBA_OctetSequence& serviceId)
    : TRXObjectId(ID_SERVICE), _service_name(orEmpty(serviceName)), _service_id(serviceId) {}

TRXServiceId::TRXServiceId(CORBA_MarshalInBuffer& buffer) : TRXObjectId(ID_SERVICE) {
    buffer >> _service_name >> _service_id;
}

void TRXServiceId::write(CORBA_MarshalOutBuffer& buffer) const {
    buffer << _service_name.in() << _service_id;
}
