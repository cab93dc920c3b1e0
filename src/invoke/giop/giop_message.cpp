#include "invoke/giop/giop_message.h"

#include <utility>

namespace {

// Copies borrowed octets that are still shared when the message is destroyed.
[[gnu::hot]] void keepOctets(CORBA_OctetSequence_var& octets) {
    CORBA_OctetSequence* shared = octets.in();
    if (shared && shared->_refcount() > 1 && !shared->release()) {
        CORBA_OctetSequence copy(shared->octets());
        *shared = std::move(copy);
    }
}

void keepOctets(GIOP::RequestHeader& header) {
    keepOctets(header.object_key);
    keepOctets(header.principal);
}
void keepOctets(GIOP::LocateRequestHeader& header) { keepOctets(header.object_key); }
template <class Header>
void keepOctets(Header&) {}

template <class Message>
TRXGIOPMessage* made(CORBA_MarshalInBuffer* body, const GIOP::MessageHeader& header) {
    return new Message(body, header);
}

} // namespace

TRXGIOPMessage::TRXGIOPMessage(CORBA_MarshalInBuffer* body, const GIOP::MessageHeader& header)
    : _header(header), _stream(CORBA_MarshalInBuffer::_duplicate(body)) {}

TRXGIOPMessage::~TRXGIOPMessage() { release_buffer(_stream); }

void TRXGIOPMessage::stream(CORBA_MarshalInBuffer* stream) { release_buffer(std::exchange(_stream, stream)); }

[[gnu::hot]] TRXGIOPMessage* TRXGIOPMessage::create(CORBA_MarshalInBuffer* body,
                                                    const GIOP::MessageHeader& header) {
    if (!body) // the header is not one of GIOP 1.0
        return new TRXGIOPMessage(nullptr, header);
    switch (header.type()) {
    case GIOP::Request: return made<TRXGIOPRequest>(body, header);
    case GIOP::Reply: return made<TRXGIOPReply>(body, header);
    case GIOP::CancelRequest: return made<TRXGIOPCancelRequest>(body, header);
    case GIOP::LocateRequest: return made<TRXGIOPLocateRequest>(body, header);
    case GIOP::LocateReply: return made<TRXGIOPLocateReply>(body, header);
    default: return new TRXGIOPMessage(nullptr, header);
    }
}

namespace harbolance {

template <class Header, GIOP::MsgType Type>
[[gnu::hot]] TypedMessage<Header, Type>::~TypedMessage() {
    keepOctets(_header); // NOLINT: chooses by the header's type
}

template class TypedMessage<GIOP::RequestHeader, GIOP::Request>;
template class TypedMessage<GIOP::ReplyHeader, GIOP::Reply>;
template class TypedMessage<GIOP::CancelRequestHeader, GIOP::CancelRequest>;
template class TypedMessage<GIOP::LocateRequestHeader, GIOP::LocateRequest>;
template class TypedMessage<GIOP::LocateReplyHeader, GIOP::LocateReply>;

} // namespace harbolance
