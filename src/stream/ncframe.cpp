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

bool ncEnterDatagram(NCipcstream& in) {
    const uint32_t count = in.buffer()->bytesUnread();
    unsigned int claimed = 0;
    if (count >= ncFrameWord)
        in.read(claimed);
    return claimed >= ncFrameWord && claimed == count;
}
