// The input is the part of a datagram after the length word. A decoded record must be the same after it is
// encoded and decoded again.

#include "fuzzing.h"

#include "stream/ncframe.h"
#include "stream/ncudpstr.h"

#include <cstring>
#include <memory>
#include <string>

namespace {

class Carrier {
public:
    Carrier() {
        in_.setBuffer(&inBuffer_);
        out_.setBuffer(&outBuffer_);
    }

    std::unique_ptr<NCTransObject> decode(const uint8_t* data, size_t size) {
        in_.clearFailed();
        in_.resetTypes();
        inBuffer_.resetRead();
        if (!inBuffer_.fitsRead(size))
            inBuffer_.growRead(static_cast<uint32_t>(size));
        std::memcpy(inBuffer_.rbuf(), data, size);
        inBuffer_.advanceEnd(size);
        return std::unique_ptr<NCTransObject>(ncEnterDatagram(in_) ? in_.readObject() : nullptr);
    }

    std::string encode(const NCTransObject* object) {
        out_.resetTypes();
        require(ncEncodeMessage(out_, object), "what came in a datagram can be encoded");
        return {reinterpret_cast<const char*>(outBuffer_.wbuf()), outBuffer_.bytesWritten()};
    }

    std::unique_ptr<NCTransObject> decode(const std::string& message) {
        return decode(reinterpret_cast<const uint8_t*>(message.data()), message.size());
    }

private:
    NCipcbuf inBuffer_{0, NCudpstream::datagramSize};
    NCipcbuf outBuffer_{NCudpstream::datagramSize, 0};
    NCipcstream in_;
    NCipcstream out_;
};

std::string framed(const uint8_t* body, size_t size) {
    const auto total = static_cast<uint32_t>(size + ncFrameWord);
    std::string message;
    for (int shift = 24; shift >= 0; shift -= 8)
        message.push_back(static_cast<char>(total >> shift));
    return message.append(reinterpret_cast<const char*>(body), size);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Carrier& carrier = *new Carrier;
    silenceComplaints();
    if (size > NCudpstream::datagramSize - ncFrameWord)
        return 0;
    const auto object = carrier.decode(framed(data, size));
    inputRefused = !object;
    if (inputRefused)
        return 0;
    const std::string first = carrier.encode(object.get());
    const auto again = carrier.decode(first);
    require(again != nullptr, "what was decoded and encoded again can be decoded");
    const std::string second = carrier.encode(again.get());
    require(mayChangeOrder(first) || first == second, "decoding keeps every field");
    return 0;
}
