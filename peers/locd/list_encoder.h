#pragma once

#include "agent/collections/dsset.h"
#include "agent/records/dsmsg.h"
#include "stream/ncipcstream.h"

#include <memory>
#include <vector>

namespace locd {

// The classes whose names have been written on a connection, in order; the position is the number of the
// class.
using SpelledClasses = std::vector<const NCTypeInfo*>;

// An encoded list, usable on every connection with the same class numbers.
struct EncodedList {
    std::unique_ptr<NCipcbuf> buffer;
    uint32_t start = 0;   // offset of the list in the buffer, after some reply's head
    SpelledClasses after; // class numbers of a connection after it has sent the list

    const uint8_t* data() const { return buffer->wbuf() + start; }
    uint32_t size() const { return buffer->bytesWritten() - start; }
};

// Encodes answers to list requests.
//
// A reply with a list has two parts: a head, encoded for each receiver, and the list, which is the last field
// and by far the longest. Every head has the same objects, so the object ids in the list are the same for all
// receivers.
class ListEncoder {
public:
    ListEncoder();
    ~ListEncoder();

    // A reply without a list, as a whole message. Adds the classes whose names it writes to `spelled`.
    std::vector<uint8_t> reply(const DSRequest& request, int status, SpelledClasses& spelled);
    // Null when there is not enough memory.
    std::shared_ptr<const EncodedList> list(const DSRequest& request, DSSet& set,
                                            const SpelledClasses& before);
    // With the length word for the whole message.
    std::vector<uint8_t> head(const DSRequest& request, const SpelledClasses& before,
                              const EncodedList& list);

private:
    class Stream;

    Stream& streamFor(NCipcbuf* buffer, const SpelledClasses& before);

    NCipcbuf buffer_; // of replies and heads
    std::unique_ptr<Stream> stream_;
};

} // namespace locd
