#pragma once

#include "stream/ncipcbuf.h"
#include "stream/ncstream.h"

#include <string_view>
#include <vector>

// The binary form of an object stream: 4-octet slots, integers big-endian, written straight into and read
// straight out of an NCipcbuf. One stream and one buffer are used in one direction.
//
//     char                       one octet, first of a slot
//     short                      two octets, first of a slot
//     int, long                  a slot; `long` has four octets on the wire whatever it has in memory
//     float, double              one or two slots, the bits in the host's byte order
//     block of n octets          n rounded up to a multiple of 4
//     C string                   an int that counts text, NUL and padding, then these octets

// A place where the tag of a class was left out: its offset in the write area.
struct NCTypeGap {
    uint32_t offset;
    const NCTypeInfo* type;
};

class NCipcstream : public NCostream, public NCistream {
public:
    // The buffer is not owned and may be null: reads and writes then do nothing.
    explicit NCipcstream(NCipcbuf* buffer = nullptr);

    NCipcbuf* buffer() const { return buffer_; }
    void setBuffer(NCipcbuf* buffer) { buffer_ = buffer; }

    // While a list is set, tags of classes are not written but entered in that list. Null ends this.
    void setTypeGaps(std::vector<NCTypeGap>* gaps) { gaps_ = gaps; }
    void writeType(const NCTypeInfo& type) override;

    const NCTypeInfo& typeInfo() const override;
    bool isA(const NCTypeInfo& type) const override;
    // Affects both directions.
    void resetTypes() override;
    void resetObjects() override;

    using NCistream::read;
    using NCostream::write;
    NCostream& write(const char* text) override;
    NCostream& write(char value) override;
    NCostream& write(unsigned char value) override;
    NCostream& write(short value) override;
    NCostream& write(unsigned short value) override;
    NCostream& write(int value) override;
    NCostream& write(unsigned int value) override;
    NCostream& write(long value) override;
    NCostream& write(unsigned long value) override;
    NCostream& write(float value) override;
    NCostream& write(double value) override;
    NCostream& put(char value) override;
    NCostream& write(const char* bytes, size_t count) override;
    NCostream& write(const unsigned char* bytes, size_t count) override;
    NCostream& write(const short* values, size_t count) override;
    NCostream& write(const unsigned short* values, size_t count) override;
    NCostream& write(const int* values, size_t count) override;
    NCostream& write(const unsigned int* values, size_t count) override;
    NCostream& write(const long* values, size_t count) override;
    NCostream& write(const unsigned long* values, size_t count) override;
    NCostream& write(const float* values, size_t count) override;
    NCostream& write(const double* values, size_t count) override;
    NCostream& writeCString(const char* text) override;
    NCostream& writeText(const std::string& text) override;

    // Reads into the caller's buffer, which must be large enough for any text; `getText` is the safe
    // function.
    NCistream& read(char*& text) override;
    NCistream& read(char& value) override;
    NCistream& read(unsigned char& value) override;
    NCistream& read(short& value) override;
    NCistream& read(unsigned short& value) override;
    NCistream& read(int& value) override;
    NCistream& read(unsigned int& value) override;
    NCistream& read(long& value) override;
    NCistream& read(unsigned long& value) override;
    NCistream& read(float& value) override;
    NCistream& read(double& value) override;
    NCistream& read(char* bytes, size_t count) override;
    NCistream& read(unsigned char* bytes, size_t count) override;
    NCistream& read(short* values, size_t count) override;
    NCistream& read(unsigned short* values, size_t count) override;
    NCistream& read(int* values, size_t count) override;
    NCistream& read(unsigned int* values, size_t count) override;
    NCistream& read(long* values, size_t count) override;
    NCistream& read(unsigned long* values, size_t count) override;
    NCistream& read(float* values, size_t count) override;
    NCistream& read(double* values, size_t count) override;
    NCistream& getCString(char* buffer, int max) override;
    size_t remaining() const override;
    NCistream& getText(std::string& text) override;

protected:
    void writeNull() override;
    void writeTag(char tag, int id) override;

private:
    void leaveGap(const NCTypeInfo& type);
    uint8_t* reserve(size_t count);
    bool grow(size_t count);
    const uint8_t* take(size_t count);
    bool fetch(size_t count);
    // The octets of a C string in the buffer, of which the first NUL ends the text. Without data on failure.
    std::string_view takeCString();

    template <class T>
    NCostream& putSlot(T value);
    template <class T>
    NCostream& putSlotGrown(T value);
    NCostream& writePadded(const unsigned char* bytes, size_t count);
    NCistream& readPadded(unsigned char* bytes, size_t count);
    template <class T>
    NCostream& putSlots(const T* values, size_t count);
    template <class T>
    NCistream& getSlot(T& value);
    template <class T>
    NCistream& getSlotFetched(T& value);
    template <class T>
    NCistream& getSlots(T* values, size_t count);

    NCipcbuf* buffer_;
    std::vector<NCTypeGap>* gaps_ = nullptr;
};
