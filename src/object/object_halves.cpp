#include "object/object_halves.h"

#include "marshal/exception/vexcept.h"
#include "object/vobject.h"

namespace harbolance {

namespace {

constinit ObjectHalves::MakeStub stubMaker = nullptr;
constinit ObjectHalves::MakeSkel skelMaker = nullptr;
constinit ObjectAdapters* objectAdapters = nullptr;

} // namespace

void ObjectHalves::install(MakeStub make) { stubMaker = make; }
void ObjectHalves::install(MakeSkel make) { skelMaker = make; }

std::unique_ptr<StubHalf> ObjectHalves::makeStub(CORBA_Object* owner) {
    // Reached in a program without the layer of the calls, or when an object is made before that layer's
    // static objects.
    if (!stubMaker)
        throw CORBA_INITIALIZE();
    return stubMaker(owner);
}

std::unique_ptr<SkelHalf> ObjectHalves::makeSkel(CORBA_Object* owner) {
    if (!skelMaker)
        throw CORBA_INITIALIZE();
    return skelMaker(owner);
}

void ObjectAdapters::install(ObjectAdapters* adapters) { objectAdapters = adapters; }
ObjectAdapters* ObjectAdapters::installed() { return objectAdapters; }

} // namespace harbolance
