#include "locd/list_encoder.h"

#include "stream/ncframe.h"

#include <algorithm>

namespace locd {

namespace {

constexpr uint32_t firstArea = 1024;
// The encoding of a null object, which ends a message: a tag and the text "::".
constexpr uint32_t nullOctets = 12;
// A stream that has written more objects is destroyed afterwards, because of its large tables.
constexpr uint32_t manyObjects = 1000;

// Stands for an object of a class, to make the stream write the class name.
class Mention : public NCTransObject {
public:
    explicit Mention(const NCTypeInfo& type) : type_(type) {}
    void write(NCostream&) const override {}
    const NCTypeInfo& typeInfo() const override { return type_; }

private:
    const NCTypeInfo& type_;
};

} // namespace

// A stream that records the classes whose names it writes.
class ListEncoder::Stream : public NCipcstream {
public:
    // Continues on a connection on which the names of these classes have been written.
    void continueWith(NCipcbuf* buffer, const SpelledClasses& before) {
        // One stream, which keeps its tables from message to message, serves all connections, so it is set to
        // the state of this connection.
        setBuffer(buffer);
        resetTypes();
        spelled_.clear();
        for (const NCTypeInfo* type : before) {
            // In the same order, since the position is the number of the class on the connection.
            const Mention mention(*type);
            writeObject(&mention);
        }
    }

    void writeType(const NCTypeInfo& type) override {
        const auto same = [&type](const NCTypeInfo* known) { return *known == type; };
        // Compared by value. The list is short: a reply with a list has only a few classes.
        if (std::none_of(spelled_.begin(), spelled_.end(), same))
            spelled_.push_back(&type);
        NCipcstream::writeType(type);
    }

    const SpelledClasses& spelled() const { return spelled_; }

private:
    SpelledClasses spelled_;
};

ListEncoder::ListEncoder() : buffer_(firstArea, 0) {}
ListEncoder::~ListEncoder() = default;

ListEncoder::Stream& ListEncoder::streamFor(NCipcbuf* buffer, const SpelledClasses& before) {
    if (!stream_)
        stream_ = std::make_unique<Stream>();
    stream_->continueWith(buffer, before);
    return *stream_;
}

std::vector<uint8_t> ListEncoder::reply(const DSRequest& request, int status, SpelledClasses& spelled) {
    Stream& stream = streamFor(&buffer_, spelled);
    ncEncodeMessage(stream, NCRef<DSReply>(new DSReply(DSReplyPlain, request, status)).get());
    spelled = stream.spelled();
    return {buffer_.wbuf(), buffer_.wpos()};
}

std::shared_ptr<const EncodedList> ListEncoder::list(const DSRequest& request, DSSet& set,
                                                     const SpelledClasses& before) {
    auto list = std::make_shared<EncodedList>();
    list->buffer = std::make_unique<NCipcbuf>(firstArea, 0);
    // This head is encoded only for its length: the list is still empty, and the length word is wrong.
    list->start = static_cast<uint32_t>(head(request, before, *list).size());
    Stream& stream = streamFor(list->buffer.get(), before);
    const NCRef<DSReply> reply(new DSReply(DSReplyPlain, request, DSStatusDone, &set));
    const bool encoded = ncEncodeMessage(stream, reply.get());
    list->after = stream.spelled();
    if (set.size() > manyObjects)
        stream_.reset();
    return encoded ? list : nullptr;
}

std::vector<uint8_t> ListEncoder::head(const DSRequest& request, const SpelledClasses& before,
                                       const EncodedList& list) {
    SpelledClasses spelled = before;
    std::vector<uint8_t> head = reply(request, DSStatusDone, spelled);
    // A reply without a list ends in a null object. It is removed, because the list follows instead.
    head.resize(head.size() - nullOctets);
    const auto total = static_cast<uint32_t>(head.size()) + list.size();
    // Stores the length of the whole message, in network byte order, instead of that of the head.
    for (size_t i = 0; i < ncFrameWord; ++i)
        head[i] = static_cast<uint8_t>(total >> (8 * (ncFrameWord - 1 - i)));
    return head;
}

} // namespace locd
