#include "agent/records/dsamsg.h"

using namespace harbolance;

const NCTypeInfo DSAMessage::info("DSAMessage", ncCreate<DSAMessage>, {&DSResource::info});
const NCTypeInfo DSAReply::info("DSAReply", ncCreate<DSAReply>, {&DSAMessage::info});

namespace {

MessageCounter numbers;

} // namespace

DSAMessage::DSAMessage(int type, DSResource* object, uint32_t cookieValue, int cookieLen)
    : DSAMessage(type, object, MessageCookie(cookieValue, cookieLen)) {}

DSAMessage::DSAMessage(int type, DSResource* object, const MessageCookie& cookie)
    : version_(dsVersion), msgType_(type), msgNum_(numbers.next()), object_(object), cookie_(cookie) {}

DSAReply::DSAReply(int replyType, const DSAMessage& message, int status, DSResource* object)
    : Record(DSTypeAReply, object, message.cookie().repeated()), replyType_(replyType),
      requestNum_(message.msgNum()), status_(status) {}

DSAReply::DSAReply(NCistream& in) : Record(in) {
    if (isCurrentVersion())
        readFields(in);
}
