#pragma once

#include "agent/records/dscodes.h"
#include "agent/records/dscookie.h"
#include "agent/records/dsresrc.h"
#include "stream/ncstring.h"

// The short exchanges outside a session: find an agent, ask for its TCP endpoint, tell of a dead provider.
// Fields on the stream: version, msgType, msgNum, object, cookie. The object stands before the cookie here.
//
// A message of another protocol version is read no further than its version.
class DSAMessage : public DSResource {
public:
    static const NCTypeInfo info;

    // Takes the next number of a counter of its own, apart from DSMessage's.
    explicit DSAMessage(int type, DSResource* object = nullptr, uint32_t cookieValue = 0, int cookieLen = 0);
    explicit DSAMessage(NCistream& in);

    bool isCurrentVersion() const { return version_ == dsVersion; }
    int msgType() const { return msgType_; }
    uint32_t msgNum() const { return msgNum_; }
    DSResource* object() const { return object_.get(); }
    const DSCookie& cookie() const { return cookie_; }

    void write(NCostream& out) const override;
    const NCTypeInfo& typeInfo() const override { return info; }
    void printOn(NCostream& out) const override;
    uint32_t hash() const override { return msgNum_; }
    int compare(const NCObject* other) const override;

protected:
    DSAMessage(int type, DSResource* object, const DSCookie& cookie);

private:
    NCString version_;
    int msgType_ = 0;
    uint32_t msgNum_ = 0;
    NCRef<DSResource> object_;
    DSCookie cookie_;
};

// The answer to a DSAMessage. Fields on the stream: those of DSAMessage, replyType, requestNum, status.
class DSAReply : public DSAMessage {
public:
    static const NCTypeInfo info;

    // Repeats the cookie of `message`.
    DSAReply(int replyType, const DSAMessage& message, int status, DSResource* object = nullptr);
    explicit DSAReply(NCistream& in);

    int replyType() const { return replyType_; }
    uint32_t requestNum() const { return requestNum_; }
    int status() const { return status_; }

    bool replyOk() const { return status_ == DSStatusDone; }
    bool answers(const DSAMessage& message) const { return requestNum_ == message.msgNum(); }

    void write(NCostream& out) const override;
    const NCTypeInfo& typeInfo() const override { return info; }
    void printOn(NCostream& out) const override;

private:
    int replyType_ = 0;
    uint32_t requestNum_ = 0;
    int status_ = 0;
};
