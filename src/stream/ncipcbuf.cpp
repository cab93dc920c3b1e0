#include "stream/ncipcbuf.h"

#include "base/standard_streams.h"
#include "stream/complaints.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

NCipcbuf::NCipcbuf(uint32_t writeSize, uint32_t readSize) {
    setAreas(allocate(writeSize), writeSize, allocate(readSize), readSize, true);
}

NCipcbuf::NCipcbuf(uint8_t* writeArea, uint32_t writeSize, uint8_t* readArea, uint32_t readSize, bool owned) {
    setAreas(writeArea, writeSize, readArea, readSize, owned);
}

NCipcbuf::~NCipcbuf() {
    free(read_);
    free(write_);
}

void NCipcbuf::setAreas(uint8_t* writeArea, uint32_t writeSize, uint8_t* readArea, uint32_t readSize,
                        bool owned) {
    free(read_);
    free(write_);
    read_ = {readArea, readSize, owned};
    write_ = {writeArea, writeSize, owned};
    error_ = false;
    resetRead();
    resetWrite();
}

uint8_t* NCipcbuf::allocate(uint32_t size) {
    if (size == 0)
        return nullptr;
    auto* area = static_cast<uint8_t*>(std::calloc(size, 1));
    // A stream without its buffer is useless. This happens when a stream is made, never for a message.
    if (!area) {
        std::perror("NCipcbuf::NCipcbuf: new");
        harbolance::standardError() << "NCipcbuf::NCipcbuf: "
                                    << "Unable to allocate memory (" << size << ")\n";
        std::exit(1);
    }
    return area;
}

void NCipcbuf::free(Area& area) {
    if (area.owned)
        std::free(area.area);
    area = {};
}

bool NCipcbuf::replace(Area& area, uint32_t size, const uint8_t* keep, size_t count) {
    // calloc, because padding octets are sent and must not reveal old memory. Never of size 0, for which the
    // result may be null without an error.
    auto* fresh = static_cast<uint8_t*>(std::calloc(size > 0 ? size : 1, 1));
    if (!fresh)
        return false;
    // `keep` points into the old area, or is null when there is none.
    if (count > 0)
        std::memcpy(fresh, keep, count);
    free(area);
    area = {fresh, size, true};
    return true;
}

int NCipcbuf::growRead(uint32_t size) {
    const uint32_t unread = bytesUnread();
    if (size > maxSize || size < unread || !replace(read_, size, rpos_, unread))
        return -1;
    rpos_ = read_.area;
    rend_ = rpos_ + unread;
    return 0;
}

int NCipcbuf::growWrite(uint32_t size) {
    const uint32_t written = bytesWritten();
    // In 64 bits, so that the sum cannot wrap below the limit. Doubling keeps the copying linear.
    const uint64_t wanted =
        write_.size <= size ? uint64_t{write_.size} + 2 * uint64_t{size} : 2 * uint64_t{write_.size};
    if (wanted > maxSize || !replace(write_, static_cast<uint32_t>(wanted), write_.area, written))
        return -1;
    wpos_ = write_.area + written;
    return 0;
}

int NCipcbuf::overflow(uint32_t size) { return growWrite(size); }

int NCipcbuf::underflow() {
    // The read area holds one whole message; there is no more data to fetch.
    harbolance::complain(harbolance::standardOutput(), "NCipcbuf::underflow: Underflow occured\n");
    return -1;
}
