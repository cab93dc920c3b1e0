#include "stream/ncobject.h"

#include "base/standard_streams.h"
#include "stream/ncstream.h"

const NCTypeInfo NCObject::info("NCObject", nullptr);

NCTransObject::NCTransObject(NCistream& in) { in.registerObject(this); }

NCTransObject::~NCTransObject() = default;

void NCTransObject::print(std::ostream& out) const { out << *this; }

void NCTransObject::printOn(NCostream& out) const { write(out); }

void NCTransObject::read(NCistream&) {}

std::ostream& operator<<(std::ostream& out, const NCTransObject& object) {
    NCostream stream(out);
    stream.writeFields(&object);
    return out;
}

bool NCObject::isEqual(const NCObject* other) const {
    return other && typeInfo() == other->typeInfo() && compare(other) == 0;
}

bool NCObject::isSame(const NCObject* other) const { return this == other; }

bool NCObject::operator==(const NCObject& other) const { return isEqual(&other); }

bool NCObject::operator!=(const NCObject& other) const { return !isEqual(&other); }
