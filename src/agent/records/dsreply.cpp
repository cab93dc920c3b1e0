#include "agent/records/dsreply.h"

using namespace harbolance;

const NCTypeInfo DSReply::info("DSReply", ncCreate<DSReply>, {&DSMessage::info});

DSReply::DSReply(int replyType, const DSMessage& request, int status, DSResource* reply)
    : DSMessage(DSTypeReply, request.cookie().repeated()), replyType_(replyType),
      requestNum_(request.msgNum()), status_(status), reply_(reply) {}

DSReply::DSReply(NCistream& in) : DSMessage(in) {
    if (!isCurrentVersion())
        return;
    in.read(replyType_).read(requestNum_).read(status_);
    reply_ = in.readRecord<DSResource>();
}

void DSReply::write(NCostream& out) const {
    DSMessage::write(out);
    out.write(replyType_).write(requestNum_).write(status_).writeRecord(reply_.get());
}

void DSReply::printOn(NCostream& out) const {
    DSMessage::printOn(out);
    out.write("Reply Type:").write(replyType_).write("\n");
    out.write("Request Num:").write(requestNum_).write("\n");
    out.write("Status:").write(status_).write("\n").write("Reply:");
    dsPrintOn(out, reply_.get());
}

int DSReply::compare(const NCObject* other) const {
    const auto* that = nc_cast<DSReply>(other);
    if (!that)
        return -1;
    if (const int order = DSMessage::compare(other))
        return order;
    if (const int order = dsDifference(replyType_, that->replyType_))
        return order;
    if (const int order = dsDifference(static_cast<int>(requestNum_), static_cast<int>(that->requestNum_)))
        return order;
    if (const int order = dsDifference(status_, that->status_))
        return order;
    return dsCompare(reply_.get(), that->reply_.get());
}

uint64_t DSReply::fingerprint() const {
    uint64_t print = mixFingerprint(DSMessage::fingerprint(), static_cast<uint32_t>(replyType_));
    print = mixFingerprint(print, requestNum_);
    print = mixFingerprint(print, static_cast<uint32_t>(status_));
    return mixFingerprint(print, dsFingerprint(reply_.get()));
}
