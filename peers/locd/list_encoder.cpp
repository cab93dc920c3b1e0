#include "locd/list_encoder.h"

#include "stream/ncframe.h"

#include <algorithm>

namespace locd {

namespace {

constexpr uint32_t firstArea = 1024;
// How a null object ends a message: a tag and the text "::".
constexpr uint32_t nullOctets = 12;

// Stands for an object of a class, to have the class spelled.
class Mention : public NCTransObject {
public:
    explicit Mention(const NCTypeInfo& type) : type_(type) {}
    void write(NCostream&) const override {}
    const NCTypeInfo& typeInfo() const override { return type_; }

private:
    const NCTypeInfo& type_;
};

// Continues a connection that has spelled some classes, and takes note of those that it spells itself.
class Continuation : public NCipcstream {
public:
    Continuation(NCipcbuf* buffer, const SpelledClasses& before) : NCipcstream(buffer) {
        for (const NCTypeInfo* type : before) {
            const Mention mention(*type);
            writeObject(&mention);
        }
    }

    void writeType(const NCTypeInfo& type) override {
        const auto same = [&type](const NCTypeInfo* known) { return *known == type; };
        if (std::none_of(spelled_.begin(), spelled_.end(), same))
            spelled_.push_back(&type);
        NCipcstream::writeType(type);
    }

    const SpelledClasses& spelled() const { return spelled_; }

private:
    SpelledClasses spelled_;
};

} // namespace

std::shared_ptr<const EncodedList> encodeList(const DSRequest& request, DSSet& set,
                                              const SpelledClasses& before) {
    auto list = std::make_shared<EncodedList>();
    list->buffer = std::make_unique<NCipcbuf>(firstArea, 0);
    Continuation stream(list->buffer.get(), before);
    const NCRef<DSReply> reply(new DSReply(DSReplyPlain, request, DSStatusDone, &set));
    if (!ncEncodeMessage(stream, reply.get()))
        return nullptr;
    list->start = static_cast<uint32_t>(encodeHead(request, before, *list).size());
    list->after = stream.spelled();
    return list;
}

std::vector<uint8_t> encodeReply(const DSRequest& request, int status, SpelledClasses& spelled) {
    NCipcbuf buffer(firstArea, 0);
    Continuation stream(&buffer, spelled);
    ncEncodeMessage(stream, NCRef<DSReply>(new DSReply(DSReplyPlain, request, status)).get());
    spelled = stream.spelled();
    return {buffer.wbuf(), buffer.wpos()};
}

std::vector<uint8_t> encodeHead(const DSRequest& request, const SpelledClasses& before,
                                const EncodedList& list) {
    SpelledClasses spelled = before;
    std::vector<uint8_t> head = encodeReply(request, DSStatusDone, spelled);
    head.resize(head.size() - nullOctets);
    const auto total = static_cast<uint32_t>(head.size()) + list.size();
    for (size_t i = 0; i < ncFrameWord; ++i)
        head[i] = static_cast<uint8_t>(total >> (8 * (ncFrameWord - 1 - i)));
    return head;
}

} // namespace locd
