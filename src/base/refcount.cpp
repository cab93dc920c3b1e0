#include "base/refcount.h"

NCResource::~NCResource() = default;

void NCResource::release(NCResource* object) {
    if (!object)
        return;
    // 0 is a valid count here: the object never had a holder.
    if (object->_ref_count <= 1)
        delete object;
    else
        --object->_ref_count;
}

TRXResource::~TRXResource() = default;

[[gnu::hot]] void TRXResource::_remove_ref() {
    if (--_ref_count == 0)
        delete this;
}
