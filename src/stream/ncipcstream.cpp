#include "stream/ncipcstream.h"

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>

namespace {

constexpr size_t slotSize = 4;
constexpr size_t largestBlock = NCipcbuf::maxSize;
constexpr size_t noBuffer = std::numeric_limits<size_t>::max(); // more than any buffer holds

constexpr size_t padded(size_t count) { return (count + (slotSize - 1)) & ~(slotSize - 1); }

// The encoding of one value. Integers of more than two octets take a whole slot, whatever the size of `long`
// here.
template <class T>
struct Wire {
    static constexpr bool isFloating = std::is_floating_point_v<T>;
    static constexpr size_t slots = std::is_same_v<T, double> ? 2 : 1;
    static constexpr size_t octets = sizeof(T) < slotSize ? sizeof(T) : slotSize;

    static void store(uint8_t* out, T value) {
        if constexpr (isFloating) {
            // Floating point is not converted to big-endian: the protocol sends it in host order.
            std::memcpy(out, &value, sizeof value);
        } else {
            // Converted to unsigned first, because shifting a negative number right would depend on its
            // width. The octets of a slot after the value are not changed; readers ignore them.
            const auto bits = static_cast<uint32_t>(static_cast<std::make_unsigned_t<T>>(value));
            for (size_t i = 0; i < octets; ++i)
                out[i] = static_cast<uint8_t>(bits >> (8 * (octets - 1 - i)));
        }
    }

    static T load(const uint8_t* in) {
        T value{};
        if constexpr (isFloating) {
            std::memcpy(&value, in, sizeof value);
        } else {
            const uint32_t bits = loadBigEndian(in, std::make_index_sequence<octets>());
            // Converted through int32_t: a `long` has 32 bits on the wire and may have 64 here, and the sign
            // must be kept.
            if constexpr (std::is_signed_v<T> && octets == 4)
                value = static_cast<T>(static_cast<int32_t>(bits));
            else
                value = static_cast<T>(bits);
        }
        return value;
    }

private:
    // One expression rather than a loop: compilers make a load and a byte swap of it.
    template <size_t... i>
    static uint32_t loadBigEndian(const uint8_t* in, std::index_sequence<i...>) {
        return ((uint32_t{in[i]} << (8 * (octets - 1 - i))) | ...);
    }
};

// Stores a text of `size` octets, including its NUL, after its padded length.
void storeCString(uint8_t* out, const char* text, size_t size) {
    Wire<int>::store(out, static_cast<int>(padded(size)));
    std::memcpy(out + slotSize, text, size);
}

} // namespace

NCipcstream::NCipcstream(NCipcbuf* buffer) : buffer_(buffer) {}

const NCTypeInfo& NCipcstream::typeInfo() const {
    static const NCStreamKind kind("NCipcstream");
    return kind;
}

bool NCipcstream::isA(const NCTypeInfo& type) const {
    return typeInfo() == type || NCostream::typeInfo() == type || NCistream::typeInfo() == type;
}

void NCipcstream::resetTypes() {
    NCostream::resetTypes();
    NCistream::resetTypes();
}

void NCipcstream::resetObjects() {
    NCostream::resetObjects();
    NCistream::resetObjects();
}

// Reserves `count` octets: returns where to write them and moves the position behind them; null when the
// buffer cannot grow.
inline uint8_t* NCipcstream::reserve(size_t count) {
    if (!buffer_ || (!buffer_->fitsWrite(count) && !grow(count)))
        return nullptr;
    uint8_t* position = buffer_->wpos();
    buffer_->advanceWrite(count);
    return position;
}

bool NCipcstream::grow(size_t count) {
    // A derived buffer may return success without having grown enough, so this is tested again.
    const bool grown = count <= largestBlock && buffer_->overflow(static_cast<uint32_t>(count)) != -1 &&
                       buffer_->fitsWrite(count);
    if (!grown)
        buffer_->setError();
    return grown;
}

inline const uint8_t* NCipcstream::take(size_t count) {
    if (!buffer_ || (buffer_->bytesUnread() < count && !fetch(count)))
        return nullptr;
    const uint8_t* position = buffer_->rpos();
    buffer_->advanceRead(count);
    return position;
}

bool NCipcstream::fetch(size_t count) {
    const bool fetched = buffer_->underflow() != -1 && buffer_->bytesUnread() >= count;
    if (!fetched)
        setFailed();
    return fetched;
}

template <class T>
NCostream& NCipcstream::putSlot(T value) {
    constexpr size_t size = Wire<T>::slots * slotSize;
    // The slow path is a separate function in tail position, so that the fast path needs no stack frame.
    if (!buffer_ || !buffer_->fitsWrite(size)) [[unlikely]]
        return putSlotGrown(value);
    Wire<T>::store(buffer_->wpos(), value);
    buffer_->advanceWrite(size);
    return *this;
}

template <class T>
[[gnu::noinline]] NCostream& NCipcstream::putSlotGrown(T value) {
    if (uint8_t* out = reserve(Wire<T>::slots * slotSize))
        Wire<T>::store(out, value);
    return *this;
}

template <class T>
NCostream& NCipcstream::putSlots(const T* values, size_t count) {
    constexpr size_t step = Wire<T>::slots * slotSize;
    // The division avoids an overflow of `count * step`.
    uint8_t* out = count <= largestBlock / step ? reserve(count * step) : nullptr;
    for (size_t i = 0; out && i < count; ++i)
        Wire<T>::store(out + i * step, values[i]);
    return *this;
}

template <class T>
NCistream& NCipcstream::getSlot(T& value) {
    constexpr size_t size = Wire<T>::slots * slotSize;
    // As `putSlot`.
    if (!buffer_ || buffer_->bytesUnread() < size) [[unlikely]]
        return getSlotFetched(value);
    value = Wire<T>::load(buffer_->rpos());
    buffer_->advanceRead(size);
    return *this;
}

template <class T>
[[gnu::noinline]] NCistream& NCipcstream::getSlotFetched(T& value) {
    if (const uint8_t* in = take(Wire<T>::slots * slotSize))
        value = Wire<T>::load(in);
    return *this;
}

template <class T>
NCistream& NCipcstream::getSlots(T* values, size_t count) {
    constexpr size_t step = Wire<T>::slots * slotSize;
    // A count from the peer that is too large becomes a size that no buffer holds, so it fails like any
    // other.
    const uint8_t* in = take(count < largestBlock ? count * step : noBuffer);
    for (size_t i = 0; in && i < count; ++i)
        values[i] = Wire<T>::load(in + i * step);
    return *this;
}

NCostream& NCipcstream::write(char value) { return putSlot(value); }
NCostream& NCipcstream::write(unsigned char value) { return putSlot(value); }
NCostream& NCipcstream::write(short value) { return putSlot(value); }
NCostream& NCipcstream::write(unsigned short value) { return putSlot(value); }
NCostream& NCipcstream::write(int value) { return putSlot(value); }
NCostream& NCipcstream::write(unsigned int value) { return putSlot(value); }
NCostream& NCipcstream::write(long value) { return putSlot(value); }
NCostream& NCipcstream::write(unsigned long value) { return putSlot(value); }
NCostream& NCipcstream::write(float value) { return putSlot(value); }
NCostream& NCipcstream::write(double value) { return putSlot(value); }
NCostream& NCipcstream::put(char value) { return putSlot(value); }
NCostream& NCipcstream::write(const short* values, size_t count) { return putSlots(values, count); }
NCostream& NCipcstream::write(const unsigned short* values, size_t count) { return putSlots(values, count); }
NCostream& NCipcstream::write(const int* values, size_t count) { return putSlots(values, count); }
NCostream& NCipcstream::write(const unsigned int* values, size_t count) { return putSlots(values, count); }
NCostream& NCipcstream::write(const long* values, size_t count) { return putSlots(values, count); }
NCostream& NCipcstream::write(const unsigned long* values, size_t count) { return putSlots(values, count); }
NCostream& NCipcstream::write(const float* values, size_t count) { return putSlots(values, count); }
NCostream& NCipcstream::write(const double* values, size_t count) { return putSlots(values, count); }

NCostream& NCipcstream::write(const char* bytes, size_t count) {
    return write(reinterpret_cast<const unsigned char*>(bytes), count);
}

NCostream& NCipcstream::write(const unsigned char* bytes, size_t count) {
    // Addresses have this size, and a copy of constant size needs no call.
    if (count != slotSize || !buffer_ || !buffer_->fitsWrite(slotSize))
        return writePadded(bytes, count);
    std::memcpy(buffer_->wpos(), bytes, slotSize);
    buffer_->advanceWrite(slotSize);
    return *this;
}

[[gnu::noinline]] NCostream& NCipcstream::writePadded(const unsigned char* bytes, size_t count) {
    if (count == 0)
        return *this;
    if (uint8_t* out = reserve(padded(count)))
        std::memcpy(out, bytes, count);
    return *this;
}

NCostream& NCipcstream::write(const char* text) { return writeCString(text); }

NCostream& NCipcstream::writeCString(const char* text) {
    // One reservation for the length and the text, so that either both are written or neither.
    const size_t size = std::strlen(text) + 1;
    if (uint8_t* out = reserve(slotSize + padded(size)))
        storeCString(out, text, size);
    return *this;
}

void NCipcstream::writeType(const NCTypeInfo& type) {
    if (gaps_)
        leaveGap(type);
    else
        NCostream::writeType(type);
}

void NCipcstream::leaveGap(const NCTypeInfo& type) {
    // The class gets no id yet, because ids follow the order in which messages are sent.
    if (buffer_)
        gaps_->push_back({buffer_->bytesWritten(), &type});
}

// These make up most of a large message; each is written with a single check of the buffer.

NCostream& NCipcstream::writeText(const std::string& text) {
    const size_t size = text.size() + 1;
    if (uint8_t* out = reserve(2 * slotSize + padded(size))) {
        Wire<unsigned int>::store(out, static_cast<unsigned int>(text.size()));
        storeCString(out + slotSize, text.c_str(), size);
    }
    return *this;
}

void NCipcstream::writeNull() {
    if (uint8_t* out = reserve(3 * slotSize)) {
        Wire<char>::store(out, ':');
        storeCString(out + slotSize, "::", sizeof "::");
    }
}

void NCipcstream::writeTag(char tag, int id) {
    if (uint8_t* out = reserve(2 * slotSize)) {
        Wire<char>::store(out, tag);
        Wire<int>::store(out + slotSize, id);
    }
}

NCistream& NCipcstream::read(char& value) { return getSlot(value); }
NCistream& NCipcstream::read(unsigned char& value) { return getSlot(value); }
NCistream& NCipcstream::read(short& value) { return getSlot(value); }
NCistream& NCipcstream::read(unsigned short& value) { return getSlot(value); }
NCistream& NCipcstream::read(int& value) { return getSlot(value); }
NCistream& NCipcstream::read(unsigned int& value) { return getSlot(value); }
NCistream& NCipcstream::read(long& value) { return getSlot(value); }
NCistream& NCipcstream::read(unsigned long& value) { return getSlot(value); }
NCistream& NCipcstream::read(float& value) { return getSlot(value); }
NCistream& NCipcstream::read(double& value) { return getSlot(value); }
NCistream& NCipcstream::read(short* values, size_t count) { return getSlots(values, count); }
NCistream& NCipcstream::read(unsigned short* values, size_t count) { return getSlots(values, count); }
NCistream& NCipcstream::read(int* values, size_t count) { return getSlots(values, count); }
NCistream& NCipcstream::read(unsigned int* values, size_t count) { return getSlots(values, count); }
NCistream& NCipcstream::read(long* values, size_t count) { return getSlots(values, count); }
NCistream& NCipcstream::read(unsigned long* values, size_t count) { return getSlots(values, count); }
NCistream& NCipcstream::read(float* values, size_t count) { return getSlots(values, count); }
NCistream& NCipcstream::read(double* values, size_t count) { return getSlots(values, count); }

NCistream& NCipcstream::read(char* bytes, size_t count) {
    return read(reinterpret_cast<unsigned char*>(bytes), count);
}

NCistream& NCipcstream::read(unsigned char* bytes, size_t count) {
    if (count != slotSize || !buffer_ || buffer_->bytesUnread() < slotSize)
        return readPadded(bytes, count);
    std::memcpy(bytes, buffer_->rpos(), slotSize);
    buffer_->advanceRead(slotSize);
    return *this;
}

[[gnu::noinline]] NCistream& NCipcstream::readPadded(unsigned char* bytes, size_t count) {
    if (count == 0)
        return *this;
    if (const uint8_t* in = take(count < largestBlock ? padded(count) : noBuffer))
        std::memcpy(bytes, in, count);
    return *this;
}

size_t NCipcstream::remaining() const { return buffer_ ? buffer_->bytesUnread() : 0; }

std::string_view NCipcstream::takeCString() {
    if (!buffer_)
        return {};
    const uint8_t* word = take(slotSize);
    const int length = word ? Wire<int>::load(word) : -1;
    if (length < 0) {
        setFailed();
        return {};
    }
    // The length includes padding. `take` compares it with the octets left before anything is read.
    const auto size = static_cast<size_t>(length);
    const uint8_t* text = take(size);
    return text ? std::string_view(reinterpret_cast<const char*>(text), size) : std::string_view();
}

NCistream& NCipcstream::getCString(char* buffer, int max) {
    const std::string_view text = takeCString();
    // With a `max` of 0 there is no place even for the NUL.
    if (!text.data() || max == 0)
        return *this;
    if (text.empty())
        buffer[0] = '\0';
    else
        // A text as long as `max` is stored without a NUL, because the caller's buffer is no larger.
        std::strncpy(buffer, text.data(),
                     max < 0 ? text.size() : std::min(text.size(), static_cast<size_t>(max)));
    return *this;
}

NCistream& NCipcstream::getText(std::string& text) {
    const std::string_view from = takeCString();
    if (!from.data())
        return *this;
    // The octets from a peer may contain no NUL.
    const size_t length = from.find('\0');
    if (length != from.npos)
        text.assign(from.data(), length);
    else if (from.empty())
        text.clear();
    else
        setFailed();
    return *this;
}

NCistream& NCipcstream::read(char*& text) { return getCString(text, -1); }
