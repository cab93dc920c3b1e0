#include "agent/records/dsmsg.h"

using namespace harbolance;

const NCTypeInfo DSMessage::info("DSMessage", ncCreate<DSMessage>, {&DSResource::info});
const NCTypeInfo DSRequest::info("DSRequest", ncCreate<DSRequest>, {&DSMessage::info});
const NCTypeInfo DSReply::info("DSReply", ncCreate<DSReply>, {&DSMessage::info});

namespace {

MessageCounter numbers;

} // namespace

DSMessage::DSMessage(int type, uint32_t cookieValue, int cookieLen)
    : DSMessage(type, MessageCookie(cookieValue, cookieLen)) {}

DSMessage::DSMessage(int type, const MessageCookie& cookie)
    : version_(dsVersion), msgType_(type), msgNum_(numbers.next()), cookie_(cookie) {}

DSRequest::DSRequest(int requestType, DSResource* request, uint32_t cookieValue)
    : KeyedRecord(DSTypeRequest, cookieValue, 0), requestType_(requestType), request_(request) {}

DSRequest::DSRequest(NCistream& in) : KeyedRecord(in) {
    // After another version the base has read no more fields; those of this class must not be read either.
    if (isCurrentVersion())
        readFields(in);
}

DSReply::DSReply(int replyType, const DSMessage& request, int status, DSResource* reply)
    : KeyedRecord(DSTypeReply, request.cookie().repeated()), replyType_(replyType),
      requestNum_(request.msgNum()), status_(status), reply_(reply) {}

DSReply::DSReply(NCistream& in) : KeyedRecord(in) {
    if (isCurrentVersion())
        readFields(in);
}
