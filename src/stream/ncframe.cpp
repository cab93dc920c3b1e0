#include "stream/ncframe.h"

namespace {

// Both encodings of a message end alike: its length becomes known, and its first word.
bool finishFrame(NCipcstream& out) {
    NCipcbuf& buffer = *out.buffer();
    if (buffer.error())
        return false;
    const uint32_t total = buffer.bytesWritten();
    buffer.resetWrite();
    out.write(static_cast<int>(total));
    buffer.setWpos(buffer.wbuf() + total);
    return true;
}

void startFrame(NCipcstream& out) {
    out.buffer()->clearError();
    out.buffer()->resetWrite();
    out.write(0);
}

} // namespace

bool ncEncodeMessage(NCipcstream& out, const NCTransObject* object) {
    startFrame(out);
    out.writeObject(object);
    return finishFrame(out);
}

bool ncEnterDatagram(NCipcstream& in) {
    const uint32_t count = in.buffer()->bytesUnread();
    unsigned int claimed = 0;
    if (count >= ncFrameWord)
        in.read(claimed);
    return claimed >= ncFrameWord && claimed == count;
}

bool NCWaitingMessage::encode(NCipcstream& out, const NCTransObject* object) {
    NCipcbuf* const usual = out.buffer();
    out.setBuffer(&body_);
    out.setTypeGaps(&gaps_);
    out.writeObject(object);
    out.setTypeGaps(nullptr);
    out.setBuffer(usual);
    return !body_.error();
}

bool NCWaitingMessage::leave(NCipcstream& out) const {
    startFrame(out);
    uint32_t from = 0;
    for (const NCTypeGap& gap : gaps_) {
        out.write(body_.wbuf() + from, gap.offset - from);
        out.writeType(*gap.type);
        from = gap.offset;
    }
    out.write(body_.wbuf() + from, body_.bytesWritten() - from);
    return finishFrame(out);
}
