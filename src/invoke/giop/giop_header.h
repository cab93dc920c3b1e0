#pragma once

// GIOP 1.0 on the wire. Every message is a header of 12 octets (MessageHeader), a header of its type and a
// body; alignment counts from the first octet of the message. This file has the headers, giop_message.h what
// a received message becomes, message_reader.h how messages are cut out of what a socket delivers,
// output_queue.h how they leave, and vgconn.h the connection that ties these together.

#include "marshal/cdr/vbuf.h"
#include "marshal/reference/vior.h"

#include <array>

namespace IOP {

// What interceptors of both sides tell each other with a request or reply.
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

// As on the wire, but for `message_size`, which readers turn into host order.
struct MessageHeader {
    std::array<char, 4> magic{'G', 'I', 'O', 'P'};
    CORBA_Octet major = 1;
    CORBA_Octet minor = 0;
    CORBA_Octet byte_order = harbolance::hostByteOrder; // 0 big-endian, any other value little-endian
    CORBA_Octet message_type = 0;
    CORBA_ULong message_size = 0; // octets behind the header

    explicit MessageHeader(MsgType type = Request) : message_type(type) {}

    MsgType type() const { return static_cast<MsgType>(message_type); }
    // Whether the message is one of version 1.0 with a type of that version.
    bool is_valid() const;
};

constexpr CORBA_ULong messageHeaderSize = 12;
static_assert(sizeof(MessageHeader) == messageHeaderSize);

struct RequestHeader {
    IOP::ServiceContextList service_context;
    CORBA_ULong request_id = 0;
    CORBA_Octet response_expected = 0;
    CORBA_OctetSequence_var object_key; // shared: the stub's, or a view of the received message
    // The caller's text, or a place inside the received message.
    const char* operation = "";
    CORBA_OctetSequence_var principal; // null stands for none and travels as no octets
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

// Writes the 12 octets of a message of that type with size 0; `set_message_size` fills the size in when the
// message is complete.
void write_message_header(CORBA_MarshalOutBuffer& buffer, MsgType type);
void set_message_size(CORBA_MarshalOutBuffer& buffer);

CORBA_MarshalOutBuffer& operator<<(CORBA_MarshalOutBuffer& buffer, const RequestHeader& header);
CORBA_MarshalOutBuffer& operator<<(CORBA_MarshalOutBuffer& buffer, const ReplyHeader& header);
CORBA_MarshalOutBuffer& operator<<(CORBA_MarshalOutBuffer& buffer, const LocateRequestHeader& header);
CORBA_MarshalOutBuffer& operator<<(CORBA_MarshalOutBuffer& buffer, const LocateReplyHeader& header);

// Keys, operation and principal of a request stay inside the buffer, which has to live as long as the header.
// What cannot be read raises CORBA_MARSHAL, a status that does not exist CORBA_BAD_PARAM.
CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, RequestHeader& header);
CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, ReplyHeader& header);
CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, CancelRequestHeader& header);
CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, LocateRequestHeader& header);
CORBA_MarshalInBuffer& operator>>(CORBA_MarshalInBuffer& buffer, LocateReplyHeader& header);

} // namespace GIOP
