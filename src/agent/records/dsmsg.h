#pragma once

#include "agent/records/message_parts.h"

// The messages of a session with an agent: requests and replies.
//
// Of a message of another protocol version only the version is read: `isCurrentVersion` is false and the
// other fields are empty.
class DSMessage : public harbolance::KeyedRecord<DSMessage> {
public:
    static const NCTypeInfo info;

    // Takes the next number of this process. The cookie has `cookieLen` octets, 4 when that is 0, and starts
    // with the raw octets of `cookieValue`.
    DSMessage(int type, uint32_t cookieValue, int cookieLen);
    explicit DSMessage(NCistream& in) : KeyedRecord(in) { readFields(in); }

    bool isCurrentVersion() const { return version_.isCurrent(); }
    int msgType() const { return msgType_; }
    uint32_t msgNum() const { return msgNum_; }
    const harbolance::MessageCookie& cookie() const { return cookie_; }

    static constexpr auto fields() {
        using namespace harbolance;
        return std::tuple{printedLine(&DSMessage::version_, "Version:"),
                          printedLine(&DSMessage::msgType_, "Msg Type:"),
                          printedLine(&DSMessage::msgNum_, "Msg Num:"), unprinted(&DSMessage::cookie_)};
    }
    auto key() const { return std::tie(version_, msgType_); }
    auto hashKey() const { return std::tie(msgNum_); }

protected:
    DSMessage(int type, const harbolance::MessageCookie& cookie);

private:
    harbolance::MessageVersion version_;
    int msgType_ = 0;
    uint32_t msgNum_ = 0;
    harbolance::MessageCookie cookie_;
};

class DSRequest : public harbolance::KeyedRecord<DSRequest, DSMessage> {
public:
    static const NCTypeInfo info;

    explicit DSRequest(int requestType, DSResource* request = nullptr, uint32_t cookieValue = 0);
    explicit DSRequest(NCistream& in);

    int requestType() const { return requestType_; }
    // The subject of the request; null for requests without one. The message holds it.
    DSResource* request() const { return request_.get(); }

    uint32_t hash() const override { return msgNum() ^ (request_ ? request_->hash() : 0); }

    static constexpr auto fields() {
        using namespace harbolance;
        return std::tuple{printedLine(&DSRequest::requestType_, "Request Type:"),
                          printed(&DSRequest::request_, "Request:")};
    }
    auto key() const { return std::tie(requestType_, request_); }

private:
    int requestType_ = 0;
    NCRef<DSResource> request_;
};

// The answer to a request, or a trigger notification of an agent.
class DSReply : public harbolance::KeyedRecord<DSReply, DSMessage> {
public:
    static const NCTypeInfo info;

    // Copies the cookie of `request`. When a DSReply is acknowledged, it is passed as `request`.
    DSReply(int replyType, const DSMessage& request, int status, DSResource* reply = nullptr);
    explicit DSReply(NCistream& in);

    int replyType() const { return replyType_; }
    uint32_t requestNum() const { return requestNum_; }
    int status() const { return status_; }
    // The subject of the reply; null for replies without one. The message holds it.
    DSResource* reply() const { return reply_.get(); }

    bool replyOk() const { return status_ == DSStatusDone; }
    bool answers(const DSMessage& message) const { return requestNum_ == message.msgNum(); }

    static constexpr auto fields() {
        using namespace harbolance;
        return std::tuple{printedLine(&DSReply::replyType_, "Reply Type:"),
                          printedLine(&DSReply::requestNum_, "Request Num:"),
                          printedLine(&DSReply::status_, "Status:"), printed(&DSReply::reply_, "Reply:")};
    }
    auto key() const { return std::tie(replyType_, requestNum_, status_, reply_); }

private:
    int replyType_ = 0;
    uint32_t requestNum_ = 0;
    int status_ = 0;
    NCRef<DSResource> reply_;
};
