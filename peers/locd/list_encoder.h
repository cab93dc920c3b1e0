#pragma once

#include "agent/collections/dsset.h"
#include "agent/records/dsmsg.h"
#include "stream/ncipcstream.h"

#include <memory>
#include <vector>

namespace locd {

// The classes that a connection has spelled, in that order, which gives them their numbers on it.
using SpelledClasses = std::vector<const NCTypeInfo*>;

// A list as it goes over every connection that has spelled the same classes before.
struct EncodedList {
    std::unique_ptr<NCipcbuf> buffer;
    uint32_t start = 0;   // of the list in the buffer, behind the head of some reply
    SpelledClasses after; // what a connection has spelled that has sent it

    const uint8_t* data() const { return buffer->wbuf() + start; }
    uint32_t size() const { return buffer->bytesWritten() - start; }
};

// Encodes answers to list requests for connections.
//
// A reply with a list is encoded in two parts: a head, which each receiver has for itself, and the list,
// which is the last field and by far the longest. Every head has the same objects in it, so their numbers in
// the list are the same for all.
class ListEncoder {
public:
    ListEncoder();
    ~ListEncoder();

    // A reply without a list, as a whole message. Adds to `spelled` what it spells.
    std::vector<uint8_t> reply(const DSRequest& request, int status, SpelledClasses& spelled);
    // Null when there is no memory for it.
    std::shared_ptr<const EncodedList> list(const DSRequest& request, DSSet& set,
                                            const SpelledClasses& before);
    // With the length of the whole message in front.
    std::vector<uint8_t> head(const DSRequest& request, const SpelledClasses& before,
                              const EncodedList& list);

private:
    class Stream;

    Stream& streamFor(NCipcbuf* buffer, const SpelledClasses& before);

    NCipcbuf buffer_; // of replies and heads
    std::unique_ptr<Stream> stream_;
};

} // namespace locd
