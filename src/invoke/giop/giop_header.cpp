#include "invoke/giop/giop_header.h"

#include "marshal/cdr/members.h"
#include "marshal/exception/vexcept.h"

#include <bit>
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

using harbolance::MemberOctets;
using harbolance::members;

constexpr size_t sizeOffset = offsetof(MessageHeader, message_size);

MemberOctets octetsOf(const CORBA_OctetSequence* sequence) {
    return {sequence ? sequence->octets() : std::span<const CORBA_Octet>()};
}

// A sequence that shows the octets where they stand; it copies them when it outlives its message
// (giop_message.h).
CORBA_OctetSequence* viewOfOctets(CORBA_MarshalInBuffer& buffer) {
    CORBA_ULong length = 0;
    const unsigned char* octets = buffer.octets_in_place(length);
    return new CORBA_OctetSequence(length, length, const_cast<unsigned char*>(octets), false);
}

// A request id and a status.
template <class Status>
void readOutcome(TRXistream& stream, CORBA_ULong& id, Status& status, Status last) {
    CORBA_ULong number = 0;
    stream >> members(id, number);
    if (number > last)
        throw CORBA_BAD_PARAM();
    status = static_cast<Status>(number);
}

} // namespace

bool MessageHeader::is_valid() const {
    constexpr std::array<char, 4> word{'G', 'I', 'O', 'P'};
    return std::bit_cast<uint32_t>(magic) == std::bit_cast<uint32_t>(word) && major == 1 && minor == 0 &&
           message_type <= MessageError;
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
    const MemberOctets key = octetsOf(header.object_key.in()), principal = octetsOf(header.principal.in());
    buffer << header.service_context
           << members(header.request_id, header.response_expected, key, header.operation, principal);
    return buffer;
}

CORBA_MarshalOutBuffer& operator<<(CORBA_MarshalOutBuffer& buffer, const ReplyHeader& header) {
    const CORBA_ULong status = header.reply_status;
    buffer << header.service_context << members(header.request_id, status);
    return buffer;
}

CORBA_MarshalOutBuffer& operator<<(CORBA_MarshalOutBuffer& buffer, const LocateRequestHeader& header) {
    const MemberOctets key = octetsOf(header.object_key.in());
    buffer << members(header.request_id, key);
    return buffer;
}

CORBA_MarshalOutBuffer& operator<<(CORBA_MarshalOutBuffer& buffer, const LocateReplyHeader& header) {
    const CORBA_ULong status = header.locate_status;
    buffer << members(header.request_id, status);
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
    buffer >> header.service_context;
    readOutcome(buffer, header.request_id, header.reply_status, LOCATION_FORWARD);
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
    readOutcome(buffer, header.request_id, header.locate_status, OBJECT_FORWARD);
    return buffer;
}

} // namespace GIOP
