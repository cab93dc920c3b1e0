#pragma once

#include "base/free_list.h"
#include "base/refcount.h"
#include "invoke/giop/giop_header.h"
#include "marshal/cdr/vbuf.h"

// A received message. It keeps its body, in whose buffer the results or arguments come after the headers.
class TRXGIOPMessage : public TRXResource {
public:
    TRXGIOPMessage(CORBA_MarshalInBuffer* body, const GIOP::MessageHeader& header);
    ~TRXGIOPMessage() override;

    // Makes the message of the type in `header`, and reads the header of that type from `body`, on which it
    // takes a reference. The caller owns the message. A type without a body gives a plain message that does
    // not keep `body`. Unreadable octets raise CORBA_MARSHAL or CORBA_BAD_PARAM.
    static TRXGIOPMessage* create(CORBA_MarshalInBuffer* body, const GIOP::MessageHeader& header);

    GIOP::MsgType type() const { return _header.type(); }
    const GIOP::MessageHeader& header() const { return _header; }
    // Owned by the message; null in a plain message.
    CORBA_MarshalInBuffer* stream() const { return _stream; }
    // Replaces the buffer by another one, on which it takes a reference.
    void stream(CORBA_MarshalInBuffer* stream);

private:
    GIOP::MessageHeader _header;
    CORBA_MarshalInBuffer* _stream;
};

namespace harbolance {

// A message with the header of its type.
template <class Header, GIOP::MsgType Type>
class TypedMessage final : public TRXGIOPMessage, public FreeListed<TypedMessage<Header, Type>> {
public:
    TypedMessage(CORBA_MarshalInBuffer* body, const GIOP::MessageHeader& header)
        : TRXGIOPMessage(body, header) {
        *body >> _header;
    }
    ~TypedMessage() override;

    Header& header() { return _header; }

    // Null for a message of another type, and for one of which only the 12-octet header was read.
    static TypedMessage* narrow(TRXGIOPMessage* message) {
        const bool whole = message->stream() != nullptr;
        return whole && message->type() == Type ? static_cast<TypedMessage*>(message) : nullptr;
    }

private:
    Header _header;
};

} // namespace harbolance

using TRXGIOPRequest = harbolance::TypedMessage<GIOP::RequestHeader, GIOP::Request>;
using TRXGIOPReply = harbolance::TypedMessage<GIOP::ReplyHeader, GIOP::Reply>;
using TRXGIOPCancelRequest = harbolance::TypedMessage<GIOP::CancelRequestHeader, GIOP::CancelRequest>;
using TRXGIOPLocateRequest = harbolance::TypedMessage<GIOP::LocateRequestHeader, GIOP::LocateRequest>;
using TRXGIOPLocateReply = harbolance::TypedMessage<GIOP::LocateReplyHeader, GIOP::LocateReply>;
