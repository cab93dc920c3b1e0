#include "stream/ncframe.h"

bool ncEncodeMessage(NCipcstream& out, const NCTransObject* object) {
    NCipcbuf& buffer = *out.buffer();
    buffer.clearError();
    buffer.resetWrite();
    out.write(0);
    out.writeObject(object);
    if (buffer.error())
        return false;
    const uint32_t total = buffer.bytesWritten();
    buffer.resetWrite();
    out.write(static_cast<int>(total));
    buffer.setWpos(buffer.wbuf() + total);
    return true;
}
