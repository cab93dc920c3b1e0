#include "invoke/stub/exception_list.h"

CORBA_TypeCode* CORBA_ExceptionList::item(CORBA_ULong index) const {
    if (index >= count())
        throw CORBA_BAD_PARAM();
    return _items[index].in();
}

void CORBA_ExceptionList::remove(CORBA_ULong index) {
    if (index >= count())
        throw CORBA_BAD_PARAM();
    _items.erase(_items.begin() + static_cast<std::ptrdiff_t>(index));
}
