#include "marshal/typecode/typecode_table.h"

#include "marshal/exception/vexcept.h"

void TRXTypeCodePositions::store(CORBA_Long position, CORBA_TypeCode* object) {
    if (!object || _objects.find(position) || _positions.find(object))
        throw CORBA_BAD_PARAM();
    _objects.insert({position, object});
    _positions.insert({position, object});
}

CORBA_Long TRXTypeCodePositions::positionOf(const CORBA_TypeCode* object) const {
    const TRXTypeCodeAt* found = object ? _positions.find(object) : nullptr;
    if (!found)
        throw CORBA_OBJECT_NOT_EXIST();
    return static_cast<CORBA_Long>(found->position);
}

CORBA_TypeCode* TRXTypeCodePositions::objectAt(CORBA_Long position) const {
    const TRXTypeCodeAt* found = _objects.find(position);
    if (!found)
        throw CORBA_OBJECT_NOT_EXIST();
    return found->type;
}

void TRXTypeCodePositions::reset(Cleanup cleanup) {
    if (cleanup) {
        for (uint32_t i = _objects.next(0); i < _objects.capacity(); i = _objects.next(i + 1))
            cleanup(_objects.slot(i).type);
    }
    _objects.clear();
    _positions.clear();
}
