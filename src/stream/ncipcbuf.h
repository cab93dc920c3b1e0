#pragma once

#include <cstddef>
#include <cstdint>

// The memory that an NCipcstream reads from or writes to: a read area with received data and a write area
// with encoded data. The users of the buffer move the positions.
//
//     read area   rbuf ... rpos (next octet to read) ... rend (end of the data) ... rsize
//     write area  wbuf ... wpos (next octet to write) ............................ wsize
class NCipcbuf {
public:
    // Upper limit of the size of an area, in octets.
    static constexpr uint32_t maxSize = 1u << 30;

    // Allocates each area whose size is not 0, zero-filled. Ends the process with status 1 when it cannot.
    NCipcbuf(uint32_t writeSize, uint32_t readSize);
    // Works on existing areas. With `owned` they were allocated by malloc, and the buffer frees them. An area
    // that must grow is copied into one that the buffer owns.
    NCipcbuf(uint8_t* writeArea, uint32_t writeSize, uint8_t* readArea, uint32_t readSize, bool owned);
    NCipcbuf(const NCipcbuf&) = delete;
    NCipcbuf& operator=(const NCipcbuf&) = delete;

    virtual ~NCipcbuf();
    // Makes the read area exactly `size` octets long and moves the unread data to its start. -1 when it
    // cannot.
    virtual int growRead(uint32_t size);
    // Grows the write area so that `size` octets fit behind `wpos`. -1 when it cannot.
    virtual int growWrite(uint32_t size);
    // Called by a writer when `size` octets do not fit. -1: the area cannot grow, and the writer must write
    // nothing.
    virtual int overflow(uint32_t size);
    // Called by a reader that needs more data. -1: there is none, and the reader must read nothing.
    virtual int underflow();

    void setAreas(uint8_t* writeArea, uint32_t writeSize, uint8_t* readArea, uint32_t readSize, bool owned);

    uint8_t* rbuf() const { return read_.area; }
    uint8_t* wbuf() const { return write_.area; }
    uint32_t rsize() const { return read_.size; }
    uint32_t wsize() const { return write_.size; }
    uint8_t* rpos() const { return rpos_; }
    uint8_t* rend() const { return rend_; }
    uint8_t* wpos() const { return wpos_; }
    void setRpos(uint8_t* position) { rpos_ = position; }
    void setRend(uint8_t* position) { rend_ = position; }
    void setWpos(uint8_t* position) { wpos_ = position; }
    void advanceRead(size_t count) { rpos_ += count; }
    void advanceEnd(size_t count) { rend_ += count; }
    void advanceWrite(size_t count) { wpos_ += count; }
    void resetRead() { rpos_ = rend_ = read_.area; }
    void resetWrite() { wpos_ = write_.area; }

    uint32_t bytesUnread() const { return static_cast<uint32_t>(rend_ - rpos_); }
    uint32_t bytesWritten() const { return static_cast<uint32_t>(wpos_ - write_.area); }
    // Whether `count` more octets fit behind `rend` or `wpos`.
    bool fitsRead(size_t count) const {
        return count <= read_.size - static_cast<size_t>(rend_ - read_.area);
    }
    bool fitsWrite(size_t count) const {
        return count <= write_.size - static_cast<size_t>(wpos_ - write_.area);
    }

    // Set by a write that did not fit, until `clearError`.
    bool error() const { return error_; }
    void setError() { error_ = true; }
    void clearError() { error_ = false; }

private:
    struct Area {
        uint8_t* area = nullptr;
        uint32_t size = 0;
        bool owned = false;
    };
    static uint8_t* allocate(uint32_t size);
    static bool replace(Area& area, uint32_t size, const uint8_t* keep, size_t count);
    static void free(Area& area);

    Area read_;
    Area write_;
    uint8_t* rpos_ = nullptr;
    uint8_t* rend_ = nullptr;
    uint8_t* wpos_ = nullptr;
    bool error_ = false;
};
