#pragma once

// GIOP 1.0 on the wire. Every message is a header of 12 octets (MessageHeader), a header of its type and a
// body; alignment counts from the first octet of the message. This file has the headers, giop_message.h what
// a received message becomes, message_reader.h how messages are cut out of what a socket delivers,
// output_queue.h how they leave, and vgconn.h the connection that ties these together.

#include "marshal/cdr/vbuf.h"
#include "marshal/reference/vior.h"

#include <array>

namespace IOP {

// Data that interceptors of both sides exchange with a request or reply.
struct ServiceContext {
    static constexpr CORBA_ULong _minimum_octets = 8;

    CORBA_ULong context_id = 0;
    CORBA_OctetSequence context_data;
};

using ServiceContextList = TRXSequence<ServiceContext>;

TRXostream& operator<<(TRXostream& stream, const ServiceContext& context);
TRXistream& operator>>(TRXistream& stream, ServiceContext& context);

} // namespace IOP

namespace GIOP {

enum MsgType : CORBA_Octet {
    Request,
    Reply,
    CancelRequest,
    LocateRequest,
    LocateReply,
    CloseConnection,
    MessageError,
};

// As on the wire, except that readers convert `message_size` to host order.
struct MessageHeader {
    std::array<char, 4> magic{'G', 'I', 'O', 'P'};
    CORBA_Octet major = 1;
    CORBA_Octet minor = 0;
    CORBA_Octet byte_order = harbolance::hostByteOrder; // 0 big-endian, any other value little-endian
    CORBA_Octet message_type = 0;
    CORBA_ULong message_size = 0; // octets after the header

    explicit MessageHeader(MsgType type = Request) : message_type(type) {}

    MsgType type() const { return static_cast<MsgType>(message_type); }
    // Whether the message has version 1.0 and a type of that version.
    bool is_valid() const;
};

constexpr CORBA_ULong messageHeaderSize = 12;
static_assert(sizeof(MessageHeader) == messageHeaderSize);

struct RequestHeader {
    IOP::ServiceContextList service_context;
    CORBA_ULong request_id = 0;
    CORBA_Octet response_expected = 0;
    CORBA_OctetSequence_var object_key; // shared with the stub, or borrowed from the received message
    // Borrowed: the caller's text, or a text inside the received message.
    const char* operation = "";
    CORBA_OctetSequence_var principal; // null for none; sent as zero octets
};

enum ReplyStatusType : CORBA_ULong { NO_EXCEPTION, USER_EXCEPTION, SYSTEM_EXCEPTION, LOCATION_FORWARD };

struct ReplyHeader {
    IOP::ServiceContextList service_context;
    CORBA_ULong request_id = 0;
    ReplyStatusType reply_status = NO_EXCEPTION;
};

struct CancelRequestHeader {
    CORBA_ULong request_id = 0;
};

struct LocateRequestHeader {
    CORBA_ULong request_id = 0;
    CORBA_OctetSequence_var object_key;
};

enum LocateStatusType : CORBA_ULong { UNKNOWN_OBJECT, OBJECT_HERE, OBJECT_FORWARD };

struct LocateReplyHeader {
    CORBA_ULong request_id = 0;
    LocateStatusType locate_status = UNKNOWN_OBJECT;
};

// Writes the 12 octets of a message header with size 0; `set_message_size` stores the size when the message
// is complete.
void write_message_header(CORBA_MarshalOutBuffer& buffer, MsgType type);
void set_message_size(CORBA_MarshalOutBuffer& buffer);

CORBA_MarshalOutBuffer& operator<<(CORBA_MarshalOutBuffer& buffer, const RequestHeader& header);
CORBA_MarshalOutBuffer& operator<<(CORBA_MarshalOutBuffer& buffer, const ReplyHeader& header);
CORBA_MarshalOutBuffer& operator<<(CORBA_MarshalOutBuffer& buffer, const LocateRequestHeader& header);
CORBA_MarshalOutBuffer& operator<<(CORBA_MarshalOutBuffer& buffer, const LocateReplyHeader& header);

// Keys, operation and principal of a request are borrowed from the buffer, which must live as long as the
// header. Unreadable octets raise CORBA_MARSHAL, an unknown status CORBA_BAD_PARAM.
CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, RequestHeader& header);
CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, ReplyHeader& header);
CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, CancelRequestHeader& header);
CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, LocateRequestHeader& header);
CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, LocateReplyHeader& header);

} // namespace GIOP
