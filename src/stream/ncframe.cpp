#include "stream/ncframe.h"

namespace {

// The end of a message in both forms: stores its length in its first word. False when a write has failed.
bool finishFrame(NCipcstream& out) {
    NCipcbuf& buffer = *out.buffer();
    // Set by any write that did not fit: later octets are misplaced, so the message must not be sent.
    if (buffer.error())
        return false;
    // The first word was written as 0. The write position goes back to it and then to the end again.
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
    // A datagram shorter than a word is not read, which would only add a complaint about an underflow.
    unsigned int claimed = 0;
    if (count >= ncFrameWord)
        in.read(claimed);
    // A datagram is exactly one message; with another length than it claims it was truncated or forged.
    return claimed >= ncFrameWord && claimed == count;
}

bool NCWaitingMessage::encode(NCipcstream& out, const NCTransObject* object) {
    NCipcbuf* const usual = out.buffer();
    // The stream keeps its own object ids and writing code; only its buffer is replaced for this call.
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
    // The gaps are in the order of writing, so their offsets grow. Offsets count in `body_`, which has no
    // tags.
    for (const NCTypeGap& gap : gaps_) {
        out.write(body_.wbuf() + from, gap.offset - from);
        out.writeType(*gap.type);
        from = gap.offset;
    }
    out.write(body_.wbuf() + from, body_.bytesWritten() - from);
    return finishFrame(out);
}
