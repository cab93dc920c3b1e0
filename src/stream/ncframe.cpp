#include "stream/ncframe.h"

namespace {

// Both encodings of a message end alike: its length becomes known, and its first word.
bool finishFrame(NCipcstream& out) {
    NCipcbuf& buffer = *out.buffer();
    // Set by any write that did not fit: the octets behind it are misplaced and must not leave.
    if (buffer.error())
        return false;
    // The first word was written as 0. The position goes back for it and then to the end again.
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
    // Less than a word is not read: that would only add a complaint about an underflow.
    unsigned int claimed = 0;
    if (count >= ncFrameWord)
        in.read(claimed);
    // A datagram is a message of its own: one that is longer or shorter than it says was cut or made up.
    return claimed >= ncFrameWord && claimed == count;
}

bool NCWaitingMessage::encode(NCipcstream& out, const NCTransObject* object) {
    NCipcbuf* const usual = out.buffer();
    // The stream's own object ids and writing code serve for this, only its buffer is another one meanwhile.
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
    // In the order of writing, so offsets grow. They count in `body_`, where the tags are missing.
    for (const NCTypeGap& gap : gaps_) {
        out.write(body_.wbuf() + from, gap.offset - from);
        out.writeType(*gap.type);
        from = gap.offset;
    }
    out.write(body_.wbuf() + from, body_.bytesWritten() - from);
    return finishFrame(out);
}
