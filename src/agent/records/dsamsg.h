#pragma once

#include "agent/records/message_parts.h"

// Messages outside a session: to find an agent, to ask for its TCP endpoint, and to report a provider that
// does not respond.
//
// Of a message of another protocol version only the version is read.
class DSAMessage : public harbolance::KeyedRecord<DSAMessage> {
public:
    static const NCTypeInfo info;

    // Takes the next number of a counter, which is separate from DSMessage's.
    explicit DSAMessage(int type, DSResource* object = nullptr, uint32_t cookieValue = 0, int cookieLen = 0);
    explicit DSAMessage(NCistream& in) : KeyedRecord(in) { readFields(in); }

    bool isCurrentVersion() const { return version_.isCurrent(); }
    int msgType() const { return msgType_; }
    uint32_t msgNum() const { return msgNum_; }
    DSResource* object() const { return object_.get(); }
    const harbolance::MessageCookie& cookie() const { return cookie_; }

    // The object comes before the cookie, unlike in a DSRequest.
    static constexpr auto fields() {
        using namespace harbolance;
        return std::tuple{
            printedLine(&DSAMessage::version_, "Version:"), printedLine(&DSAMessage::msgType_, "Msg Type:"),
            printedLine(&DSAMessage::msgNum_, "Msg Num:"), printedIfAny(&DSAMessage::object_, "Msg Object\n"),
            unprinted(&DSAMessage::cookie_)};
    }
    auto key() const { return std::tie(version_, msgNum_); }
    auto hashKey() const { return std::tie(msgNum_); }

protected:
    DSAMessage(int type, DSResource* object, const harbolance::MessageCookie& cookie);

private:
    harbolance::MessageVersion version_;
    int msgType_ = 0;
    uint32_t msgNum_ = 0;
    NCRef<DSResource> object_;
    harbolance::MessageCookie cookie_;
};

// The answer to a DSAMessage; the same fields identify it.
class DSAReply : public harbolance::Record<DSAReply, DSAMessage> {
public:
    static const NCTypeInfo info;

    // Copies the cookie of `message`.
    DSAReply(int replyType, const DSAMessage& message, int status, DSResource* object = nullptr);
    explicit DSAReply(NCistream& in);

    int replyType() const { return replyType_; }
    uint32_t requestNum() const { return requestNum_; }
    int status() const { return status_; }

    bool replyOk() const { return status_ == DSStatusDone; }
    bool answers(const DSAMessage& message) const { return requestNum_ == message.msgNum(); }

    static constexpr auto fields() {
        using namespace harbolance;
        return std::tuple{printedLine(&DSAReply::replyType_, "Reply Type:"),
                          printedLine(&DSAReply::requestNum_, "Request Num:"),
                          printedLine(&DSAReply::status_, "Status:")};
    }

private:
    int replyType_ = 0;
    uint32_t requestNum_ = 0;
    int status_ = 0;
};
