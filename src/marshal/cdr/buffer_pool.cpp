#include "marshal/cdr/buffer_pool.h"

#include "marshal/text/vstr.h"

TRXMarshalInBuffer::TRXMarshalInBuffer(CORBA_ULong size, CORBA_ULong start)
    : CORBA_MarshalInBuffer(CORBA_string_alloc(size), size, 1), _capacity(size) {
    align(start);
}

TRXMarshalInBuffer* TRXMarshalInBuffer::create(CORBA_ULong size, CORBA_ULong start, Pool& pool) {
    TRXMarshalInBuffer* buffer = pool.take(size);
    buffer->align(start);
    return buffer;
}

TRXMarshalInBuffer::Pool& TRXMarshalInBuffer::processPool() {
    static Pool pool;
    return pool;
}

void TRXMarshalInBuffer::recycle(CORBA_ULong wanted) {
    rewind();
    size(wanted);
}
