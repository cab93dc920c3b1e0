#include "marshal/reference/object_operations.h"

#include "marshal/exception/vexcept.h"
#include "marshal/reference/vior.h"
#include "marshal/reference/vutil.h"

using namespace harbolance;

namespace {

constinit const ObjectOperations* current = nullptr;

} // namespace

void ObjectOperations::install(const ObjectOperations& operations) { current = &operations; }

const ObjectOperations& ObjectOperations::installed() {
    if (!current)
        throw CORBA_INITIALIZE();
    return *current;
}

CORBA_Object* harbolance::duplicateObject(CORBA_Object* object) {
    if (object)
        ObjectOperations::installed().duplicate(object);
    return object;
}

void harbolance::releaseObject(CORBA_Object* object) {
    if (object)
        ObjectOperations::installed().release(object);
}

void harbolance::printObject(TRXostream& stream, CORBA_Object* object) {
    if (object)
        ObjectOperations::installed().print(stream, object);
    else
        stream.write_raw("(nil)", 5);
}

TRXostream& operator<<(TRXostream& stream, CORBA_Object* object) {
    // Nil is written as a reference without type id and profiles.
    return stream << (object ? ObjectOperations::installed().reference(object) : IOP::IOR());
}

TRXistream& operator>>(TRXistream& stream, CORBA_Object*& object) {
    return read_reference(stream, object, nullptr);
}

TRXistream& read_reference(TRXistream& stream, CORBA_Object*& object, const CORBA_TypeInfo* info) {
    object = nullptr;
    IOP::IOR ior;
    stream >> ior;
    // Not connected yet; the first call connects it.
    object = TRXUtil::convert(ior, info, 0, 1);
    return stream;
}
