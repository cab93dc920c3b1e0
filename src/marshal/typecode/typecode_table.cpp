#include "marshal/typecode/typecode_table.h"

#include "marshal/exception/vexcept.h"

using namespace harbolance;

void StreamTypeCodes::store(CORBA_Long position, CORBA_TypeCode* object) {
    // Both are tested before either is changed, since the two tables contain the same pairs.
    if (!object || _objects.find(position) || _positions.find(object))
        throw CORBA_BAD_PARAM();
    _objects.insert({position, object});
    _positions.insert({position, object});
    ++stored;
}

CORBA_Long StreamTypeCodes::positionOf(const CORBA_TypeCode* object) const {
    const TypeAt* found = object ? _positions.find(object) : nullptr;
    if (!found)
        throw CORBA_OBJECT_NOT_EXIST();
    return found->position;
}

CORBA_TypeCode* StreamTypeCodes::objectAt(CORBA_Long position) const {
    const TypeAt* found = _objects.find(position);
    if (!found)
        throw CORBA_OBJECT_NOT_EXIST();
    return found->type;
}

void StreamTypeCodes::reset() {
    // Each entry has one reference, given by the code that stored it.
    if (cleanup) {
        for (uint32_t i = _objects.next(0); i < _objects.capacity(); i = _objects.next(i + 1))
            cleanup(_objects.slot(i).type);
    }
    _objects.clear();
    _positions.clear();
    stored = 0;
    depth = 0;
}
