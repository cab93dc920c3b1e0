#include "locd/wire.h"

#include "stream/ncframe.h"
#include "stream/ncstring.h"

#include <cstring>

namespace locd {

namespace {

constexpr uint32_t decodeArea = longestDatagram + 1;

} // namespace

Decoder::Decoder() : buffer_(0, decodeArea), stream_(&buffer_) {}

void Decoder::rewind(size_t count) {
    stream_.clearFailed();
    stream_.resetTypes();
    buffer_.resetRead();
    buffer_.advanceEnd(count);
}

NCRef<DSResource> Decoder::decode(size_t count) {
    rewind(count);
    unsigned int claimed = 0;
    // The buffer is one octet larger than the longest datagram; one that fills it was longer.
    if (count >= ncFrameWord && count <= longestDatagram)
        stream_.read(claimed);
    if (claimed != count || claimed < ncFrameWord)
        return nullptr;
    NCTransObject* object = stream_.readObject();
    stream_.resetTypes(); // class ids are valid within one datagram
    auto* record = nc_cast<DSResource>(object);
    if (!record)
        delete object; // an object without a reference count
    return record;
}

NCRef<DSMessage> Decoder::foreignHeader(size_t count) {
    rewind(count);
    // Of a message of another version only the version is decoded. The next fields are read where this
    // version has them; if they are elsewhere, the receiver ignores the answer.
    unsigned int length = 0;
    char tag = 0;
    std::string className;
    std::string version;
    int type = 0;
    uint32_t number = 0;
    stream_.read(length).read(tag).getText(className).read(length).getText(version);
    stream_.read(type).read(number);
    if (stream_.failed())
        return nullptr;
    harbolance::MessageCookie cookie(0, 0);
    cookie.read(stream_);
    return standInRequest(number, cookie);
}

Encoder::Encoder() : buffer_(longestDatagram, 0), stream_(&buffer_) {}

std::span<const uint8_t> Encoder::encode(const NCTransObject& message) {
    stream_.resetTypes();
    // The buffer grows as needed, so a message that is too long is detected by its length.
    if (!ncEncodeMessage(stream_, &message) || buffer_.bytesWritten() > longestDatagram)
        return {};
    return {buffer_.wbuf(), buffer_.bytesWritten()};
}

// Written and read back, because a message constructed here would take a new number.
NCRef<DSMessage> standInRequest(uint32_t number, const harbolance::MessageCookie& cookie) {
    NCipcbuf buffer(longestDatagram, 0);
    NCipcstream out(&buffer);
    out.write(':')
        .write("DSMessage")
        .writeEmbedded(NCString(dsVersion))
        .write(static_cast<int>(DSTypeRequest));
    out.write(number);
    cookie.write(out);
    NCipcbuf written(nullptr, 0, buffer.wbuf(), buffer.bytesWritten(), false);
    written.advanceEnd(buffer.bytesWritten());
    NCipcstream in(&written);
    return nc_cast<DSMessage>(in.readObject());
}

uint32_t cookieWord(const harbolance::MessageCookie& cookie) {
    uint32_t word = 0;
    // A cookie of another length belongs to another program. The byte order does not matter: the number is
    // only compared, and returned unchanged to its sender.
    if (cookie.length() == static_cast<int>(sizeof word))
        std::memcpy(&word, cookie.octets(), sizeof word);
    return word;
}

} // namespace locd
