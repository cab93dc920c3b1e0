#include "agent/records/dsamsg.h"

#include <ctime>

const NCTypeInfo DSAMessage::info("DSAMessage", ncCreate<DSAMessage>, {&DSResource::info});
const NCTypeInfo DSAReply::info("DSAReply", ncCreate<DSAReply>, {&DSAMessage::info});

namespace {

uint32_t nextNumber() {
    static auto counter = static_cast<uint32_t>(std::time(nullptr));
    return counter++;
}

} // namespace

DSAMessage::DSAMessage(int type, DSResource* object, uint32_t cookieValue, int cookieLen)
    : DSAMessage(type, object, DSCookie(cookieValue, cookieLen)) {}

DSAMessage::DSAMessage(int type, DSResource* object, const DSCookie& cookie)
    : version_(dsVersion), msgType_(type), msgNum_(nextNumber()), object_(object), cookie_(cookie) {}

DSAMessage::DSAMessage(NCistream& in) : DSResource(in), version_(in) {
    if (!isCurrentVersion()) {
        in.stopEarly();
        return;
    }
    in.read(msgType_).read(msgNum_);
    object_ = in.readRecord<DSResource>();
    cookie_.read(in);
}

void DSAMessage::write(NCostream& out) const {
    out.writeEmbedded(version_).write(msgType_).write(msgNum_).writeRecord(object_.get());
    cookie_.write(out);
}

void DSAMessage::printOn(NCostream& out) const {
    out.write("Version:").write(version_.str()).write("\n");
    out.write("Msg Type:").write(msgType_).write("\n");
    out.write("Msg Num:").write(msgNum_).write("\n");
    if (object_) {
        out.write("Msg Object\n");
        object_->printOn(out);
    }
}

int DSAMessage::compare(const NCObject* other) const {
    const auto* that = nc_cast<DSAMessage>(other);
    if (!that)
        return -1;
    if (const int order = version_.compare(&that->version_))
        return order;
    return dsDifference(static_cast<int>(msgNum_), static_cast<int>(that->msgNum_));
}

DSAReply::DSAReply(int replyType, const DSAMessage& message, int status, DSResource* object)
    : DSAMessage(DSTypeAReply, object, message.cookie().repeated()), replyType_(replyType),
      requestNum_(message.msgNum()), status_(status) {}

DSAReply::DSAReply(NCistream& in) : DSAMessage(in) {
    if (isCurrentVersion())
        in.read(replyType_).read(requestNum_).read(status_);
}

void DSAReply::write(NCostream& out) const {
    DSAMessage::write(out);
    out.write(replyType_).write(requestNum_).write(status_);
}

void DSAReply::printOn(NCostream& out) const {
    DSAMessage::printOn(out);
    out.write("Reply Type:").write(replyType_).write("\n");
    out.write("Request Num:").write(requestNum_).write("\n");
    out.write("Status:").write(status_).write("\n");
}
