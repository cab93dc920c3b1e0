#include "marshal/typecode/typecode_shape.h"

#include "marshal/any/any.h"
#include "marshal/typecode/typecode.h"

// Every ring of types goes through a sequence and through a type with members. So the shape of a type is made
// of the shapes of its parts, and a sequence counts with the outline of its elements, which a type with
// members ends: equal types come to the same, wherever in a ring they stand. Both are found when they are
// asked for, because a part of a recursive type is complete before the whole is.

namespace {

// One step down. Indirections build types that are far deeper than anything is read or written at once: what
// lies too deep counts as one and the same.
class Descent {
public:
    Descent() { ++_depth; }
    Descent(const Descent&) = delete;
    Descent& operator=(const Descent&) = delete;
    ~Descent() { --_depth; }
    static bool isTooDeep() { return _depth > 1024; }

private:
    static inline int _depth = 0;
};

bool isType(const CORBA_Any& param) { return param._type()->kind() == tk_TypeCode; }

uint64_t shapeOfValue(const CORBA_Any& param) {
    if (param._type()->kind() == tk_string)
        return shapeOfOctets(param._text() ? param._text() : "");
    return shapeOfOctets({static_cast<const char*>(param._representation()), param._size()});
}

// What is found once need not be looked for again, unless the type is not `complete` yet.
template <class Find>
uint64_t remembered(uint64_t& place, bool complete, Find find) {
    if (place != 0)
        return place;
    const Descent descent;
    if (Descent::isTooDeep())
        return recursiveShape;
    const uint64_t found = find();
    if (complete)
        place = found;
    return found;
}

} // namespace

uint64_t CORBA_TypeCode::_shape_hash() const {
    return remembered(_shape, !_unresolved, [this] { return shape(); });
}

uint64_t CORBA_TypeCode::shape() const {
    if (_kind == tk_sequence)
        return outline();
    if (_kind == tk_alias)
        return _content()->_shape_hash();
    uint64_t shape = shapeOfKind(_kind, _param_count);
    for (CORBA_ULong i = 0; i < _param_count; ++i)
        shape = mixShape(shape, isType(*_params[i]) ? typeAt(i)->_shape_hash() : shapeOfValue(*_params[i]));
    return shape;
}

uint64_t CORBA_TypeCode::outline() const {
    return remembered(_outline, !_unresolved, [this] { return findOutline(); });
}

uint64_t CORBA_TypeCode::findOutline() const {
    uint64_t outline = shapeOfKind(_kind, _param_count);
    switch (_kind) {
    case tk_alias: return _content()->outline();
    case tk_sequence:
    case tk_array:
        outline = mixShape(outline, _content() ? _content()->outline() : recursiveShape);
        return mixShape(outline, shapeOfValue(*_params[1]));
    case tk_struct:
    case tk_union:
    case tk_except:
        for (CORBA_ULong i = 0; i < _param_count; ++i) {
            if (!isType(*_params[i]))
                outline = mixShape(outline, shapeOfValue(*_params[i]));
        }
        return outline;
    default: return _shape_hash();
    }
}
