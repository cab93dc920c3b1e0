#include "invoke/giop/giop_header.h"

#include "marshal/cdr/vbuf.h"
#include "marshal/exception/vexcept.h"

#include <cstring>

namespace IOP {

TRXostream& operator<<(TRXostream& stream, const ServiceContext& context) {
    return stream << context.context_id << context.context_data;
}

TRXistream& operator>>(TRXistream& stream, ServiceContext& context) {
    return stream >> context.context_id >> context.context_data;
}

} // namespace IOP

namespace GIOP {

namespace {

constexpr size_t sizeOffset = offsetof(MessageHeader, message_size);

void writeOctets(CORBA_MarshalOutBuffer& buffer, const CORBA_OctetSequence* octets) {
    buffer << (octets ? octets->length() : CORBA_ULong{0});
    if (octets && octets->length() > 0)
        buffer.write(octets->buffer(), octets->length());
}

// A sequence that shows the octets where they stand; it copies them when it outlives its message
// (giop_message.h).
CORBA_OctetSequence* viewOfOctets(CORBA_MarshalInBuffer& buffer) {
    CORBA_ULong length = 0;
    const unsigned char* octets = buffer.octets_in_place(length);
    return new CORBA_OctetSequence(length, length, const_cast<unsigned char*>(octets), false);
}

template <class Status>
Status readStatus(CORBA_MarshalInBuffer& buffer, Status last) {
    CORBA_ULong status = 0;
    buffer >> status;
    if (status > last)
        throw CORBA_BAD_PARAM();
    return static_cast<Status>(status);
}

} // namespace

bool MessageHeader::is_valid() const {
    return magic == MessageHeader().magic && major == 1 && minor == 0 && message_type <= MessageError;
}

void write_message_header(CORBA_MarshalOutBuffer& buffer, MsgType type) {
    const MessageHeader header(type);
    buffer.write_raw(reinterpret_cast<const char*>(&header), messageHeaderSize);
}

void set_message_size(CORBA_MarshalOutBuffer& buffer) {
    const uint64_t whole = buffer.whole_size() - messageHeaderSize;
    const auto size = static_cast<CORBA_ULong>(whole);
    if (size != whole)
        throw CORBA_MARSHAL();
    std::memcpy(buffer.data() + sizeOffset, &size, sizeof size);
}

CORBA_MarshalOutBuffer& operator<<(CORBA_MarshalOutBuffer& buffer, const RequestHeader& header) {
    buffer << header.service_context << header.request_id << header.response_expected;
    writeOctets(buffer, header.object_key.in());
    buffer << header.operation;
    writeOctets(buffer, header.principal.in());
    return buffer;
}

CORBA_MarshalOutBuffer& operator<<(CORBA_MarshalOutBuffer& buffer, const ReplyHeader& header) {
    buffer << header.service_context << header.request_id << CORBA_ULong{header.reply_status};
    return buffer;
}

CORBA_MarshalOutBuffer& operator<<(CORBA_MarshalOutBuffer& buffer, const LocateRequestHeader& header) {
    buffer << header.request_id;
    writeOctets(buffer, header.object_key.in());
    return buffer;
}

CORBA_MarshalOutBuffer& operator<<(CORBA_MarshalOutBuffer& buffer, const LocateReplyHeader& header) {
    buffer << header.request_id << CORBA_ULong{header.locate_status};
    return buffer;
}

CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, RequestHeader& header) {
    buffer >> header.service_context >> header.request_id >> header.response_expected;
    header.object_key = viewOfOctets(buffer);
    const char* operation = buffer.string_in_place();
    header.operation = operation ? operation : "";
    header.principal = viewOfOctets(buffer);
    return buffer;
}

CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, ReplyHeader& header) {
    buffer >> header.service_context >> header.request_id;
    header.reply_status = readStatus(buffer, LOCATION_FORWARD);
    return buffer;
}

CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, CancelRequestHeader& header) {
    buffer >> header.request_id;
    return buffer;
}

CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, LocateRequestHeader& header) {
    buffer >> header.request_id;
    header.object_key = viewOfOctets(buffer);
    return buffer;
}

CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, LocateReplyHeader& header) {
    buffer >> header.request_id;
    header.locate_status = readStatus(buffer, OBJECT_FORWARD);
    return buffer;
}

} // namespace GIOP
