#pragma once

#include "base/refcount.h"
#include "marshal/typecode/typecode.h"

#include <vector>

// The types of the user exceptions that a request may raise.
class CORBA_ExceptionList : public TRXResource {
public:
    static CORBA_ExceptionList* _duplicate(CORBA_ExceptionList* list) {
        if (list)
            list->_add_ref();
        return list;
    }
    static CORBA_ExceptionList* _nil() { return nullptr; }

    CORBA_ULong count() const { return static_cast<CORBA_ULong>(_items.size()); }
    void add(CORBA_TypeCode* copied) { _items.emplace_back(CORBA_TypeCode::_duplicate(copied)); }
    void add_consume(CORBA_TypeCode* owned) { _items.emplace_back(owned); }
    // The list owns the type. Both raise CORBA_BAD_PARAM for an index out of range.
    CORBA_TypeCode* item(CORBA_ULong index) const;
    void remove(CORBA_ULong index);

private:
    std::vector<CORBA_TypeCode_var> _items;
};

inline void CORBA_release(CORBA_ExceptionList* list) {
    if (list)
        list->_remove_ref();
}
