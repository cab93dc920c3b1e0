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
using harbolance::MemberText;
using harbolance::readMembers;

constexpr size_t sizeOffset = offsetof(MessageHeader, message_size);

MemberOctets octetsOf(const CORBA_OctetSequence* sequence) {
    return {sequence ? sequence->octets() : std::span<const CORBA_Octet>()};
}

// A sequence that borrows the octets in the buffer; when it outlives its message the octets are copied
// (giop_message.h).
CORBA_OctetSequence* viewOf(const MemberOctets& member) {
    const auto length = static_cast<CORBA_ULong>(member.octets.size());
    return new CORBA_OctetSequence(length, length, const_cast<CORBA_Octet*>(member.octets.data()), false);
}

template <class Status>
Status checked(CORBA_ULong number, Status last) {
    if (number > last)
        throw CORBA_BAD_PARAM();
    return static_cast<Status>(number);
}

} // namespace

[[gnu::hot]] bool MessageHeader::is_valid() const {
    constexpr std::array<char, 4> word{'G', 'I', 'O', 'P'};
    return std::bit_cast<uint32_t>(magic) == std::bit_cast<uint32_t>(word) && major == 1 && minor == 0 &&
           message_type <= MessageError;
}

[[gnu::hot]] void write_message_header(CORBA_MarshalOutBuffer& buffer, MsgType type) {
    buffer.append(MessageHeader(type));
}

[[gnu::hot]] void set_message_size(CORBA_MarshalOutBuffer& buffer) {
    const uint64_t whole = buffer.whole_size() - messageHeaderSize;
    const auto size = static_cast<CORBA_ULong>(whole);
    if (size != whole)
        throw CORBA_MARSHAL();
    std::memcpy(buffer.data() + sizeOffset, &size, sizeof size);
}

[[gnu::hot]] CORBA_MarshalOutBuffer& operator<<(CORBA_MarshalOutBuffer& buffer, const RequestHeader& header) {
    const MemberOctets key = octetsOf(header.object_key.in()), principal = octetsOf(header.principal.in());
    buffer << members(header.service_context, header.request_id, header.response_expected, key,
                      header.operation, principal);
    return buffer;
}

[[gnu::hot]] CORBA_MarshalOutBuffer& operator<<(CORBA_MarshalOutBuffer& buffer, const ReplyHeader& header) {
    const CORBA_ULong status = header.reply_status;
    buffer << members(header.service_context, header.request_id, status);
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

[[gnu::hot]] CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, RequestHeader& header) {
    MemberOctets key, principal;
    MemberText operation;
    readMembers(buffer, header.service_context, header.request_id, header.response_expected, key, operation,
                principal);
    header.object_key = viewOf(key);
    header.operation = operation.text ? operation.text : "";
    header.principal = viewOf(principal);
    return buffer;
}

[[gnu::hot]] CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, ReplyHeader& header) {
    CORBA_ULong status = 0;
    readMembers(buffer, header.service_context, header.request_id, status);
    header.reply_status = checked(status, LOCATION_FORWARD);
    return buffer;
}

CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, CancelRequestHeader& header) {
    buffer >> header.request_id;
    return buffer;
}

CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, LocateRequestHeader& header) {
    MemberOctets key;
    readMembers(buffer, header.request_id, key);
    header.object_key = viewOf(key);
    return buffer;
}

CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, LocateReplyHeader& header) {
    CORBA_ULong status = 0;
    readMembers(buffer, header.request_id, status);
    header.locate_status = checked(status, OBJECT_FORWARD);
    return buffer;
}

} // namespace GIOP
