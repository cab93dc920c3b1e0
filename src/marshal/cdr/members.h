#pragma once

#include "marshal/cdr/vbuf.h"
#include "marshal/sequence/sequence.h"
#include "marshal/text/vstr.h"

#include <cstring>
#include <span>
#include <tuple>
#include <type_traits>

// Consecutive numbers and strings, such as the members of a struct: `members(a, b, c)` is written and read
// like the single values. In a marshal buffer it is done in one step, during which the position stays in
// registers; updating the position is most of the cost of small values.

namespace harbolance {

// The numbers that have the same size in memory and on the wire.
template <class T>
concept MemberNumber = std::is_arithmetic_v<T> && !std::is_same_v<T, bool> && !std::is_same_v<T, wchar_t> &&
                       !std::is_same_v<T, long> && !std::is_same_v<T, unsigned long>;

constexpr size_t alignedTo(size_t alignment, size_t position) {
    return (position + alignment - 1) & ~(alignment - 1);
}

// Fast path for short texts, for which a call of memcpy costs more than the copy.
inline void copyText(char* target, const char* source, size_t size) {
    constexpr size_t half = 16;
    if (size < half || size > 2 * half) {
        std::memcpy(target, source, size);
        return;
    }
    char first[half], last[half]; // they overlap unless the size is 32
    std::memcpy(first, source, half);
    std::memcpy(last, source + size - half, half);
    std::memcpy(target, first, half);
    std::memcpy(target + size - half, last, half);
}

// Writes to memory whose size has been checked. Positions count from a stream position that is a multiple of
// 8.
class MembersWriter {
public:
    MembersWriter(char* place, CORBA_ULong align) : _begin(align % 8), _at(_begin), _base(place - _begin) {}

    template <MemberNumber T>
    void put(T number) {
        const size_t begin = alignedTo(sizeof number, _at);
        if constexpr (sizeof number > 1) {
            constexpr uint64_t padding = 0x2020202020202020u; // the number overwrites the surplus padding
            std::memcpy(_base + _at, &padding, sizeof number);
        }
        std::memcpy(_base + begin, &number, sizeof number);
        _at = begin + sizeof number;
    }
    void put(const char* text, size_t size) {
        put(static_cast<CORBA_ULong>(size));
        copyText(_base + _at, text, size);
        _at += size;
    }
    CORBA_ULong written() const { return static_cast<CORBA_ULong>(_at - _begin); }

private:
    const size_t _begin;
    size_t _at;
    char* const _base;
};

// A member to be written; an upper bound of its size, including padding, is known in advance.
template <MemberNumber T>
class NumberOut {
public:
    explicit NumberOut(T number) : _number(number) {}
    static constexpr bool simple() { return true; }
    static constexpr size_t most() { return 2 * sizeof(T) - 1; }
    void write(MembersWriter& writer) const { writer.put(_number); }

private:
    const T _number;
};

// Octets after their count: a string with its NUL.
class RunOut {
public:
    RunOut(const char* octets, size_t size) : _octets(octets), _size(size) {}
    bool simple() const { return _octets; } // false for null, which the stream writes
    size_t most() const { return 2 * sizeof(CORBA_ULong) - 1 + _size; }
    void write(MembersWriter& writer) const { writer.put(_octets, _size); }

private:
    const char* const _octets;
    const size_t _size;
};

// A sequence that is almost always empty, such as the service contexts of a message: writes the count 0.
template <class Sequence>
class EmptyOut {
public:
    explicit EmptyOut(const Sequence& sequence) : _empty(sequence.length() == 0) {}
    bool simple() const { return _empty; } // elements are left to the stream
    static constexpr size_t most() { return 2 * sizeof(CORBA_ULong) - 1; }
    static void write(MembersWriter& writer) { writer.put(CORBA_ULong{0}); }

private:
    const bool _empty;
};

// An octet sequence as a member. One that is read borrows the octets in the buffer.
struct MemberOctets {
    std::span<const CORBA_Octet> octets;
};
// A string that is read as a member; the text is borrowed from the buffer. Null for length 0.
struct MemberText {
    const char* text = nullptr;
};
inline TRXostream& operator<<(TRXostream& stream, const MemberOctets& member) {
    const auto count = static_cast<CORBA_ULong>(member.octets.size());
    stream << count;
    return count == 0 ? stream : stream.write(member.octets.data(), count);
}

inline RunOut memberOut(const char* text) { return {text, text ? std::strlen(text) + 1 : 0}; }
inline RunOut memberOut(const CORBA_String_var& string) { return memberOut(string.in()); }
inline RunOut memberOut(const MemberOctets& member) {
    const auto* octets = reinterpret_cast<const char*>(member.octets.data());
    return {octets ? octets : "", member.octets.size()};
}
template <MemberNumber T>
NumberOut<T> memberOut(T number) {
    return NumberOut<T>(number);
}
template <class T, class Element>
EmptyOut<TRXSequence<T, Element>> memberOut(const TRXSequence<T, Element>& sequence) {
    return EmptyOut<TRXSequence<T, Element>>(sequence);
}

// Reads from a buffer until `leave` is called, which moves the buffer's position. Rare cases (a truncated
// value, a string that needs memory) are left to the buffer's own operators.
class MembersReader {
public:
    explicit MembersReader(CORBA_MarshalInBuffer& buffer) : _buffer(buffer) { enter(); }

    template <MemberNumber T>
    void get(T& number) {
        if (!take(number)) [[unlikely]]
            getByBuffer(number);
    }
    void get(CORBA_String_var& string) {
        CORBA_ULong size = 0;
        if (const char* text = takeText(size, 2)) [[likely]] {
            if (!hasMemoryFor(string.in(), size))
                string = CORBA_string_alloc(size - 1);
            copyText(string.inout(), text, size);
        } else {
            getByBuffer(string);
        }
    }
    template <class T, class Element>
    void get(TRXSequence<T, Element>& sequence) {
        const size_t before = _at;
        CORBA_ULong count = 0;
        if (take(count) && count == 0) [[likely]] {
            sequence.length(0);
        } else {
            _at = before;
            getByBuffer(sequence);
        }
    }
    void get(MemberOctets& member) {
        CORBA_ULong count = 0;
        const auto* octets = reinterpret_cast<const CORBA_Octet*>(takeRun(count));
        if (!octets) [[unlikely]]
            byBuffer([&] { octets = _buffer.octets_in_place(count); });
        member.octets = {octets, count};
    }
    void get(MemberText& member) {
        CORBA_ULong size = 0;
        member.text = takeText(size, 1);
        if (!member.text) [[unlikely]]
            byBuffer([&] { member.text = _buffer.string_in_place(); });
    }
    void leave() { _buffer._offset += static_cast<CORBA_ULong>(_at - _begin); }

private:
    // The memory of an owned string is at least as large as its text.
    static bool hasMemoryFor(const char* string, size_t size) {
        return string && strnlen(string, size - 1) == size - 1;
    }
    void enter() {
        _begin = _at = _buffer.align() % 8;
        _end = _begin + _buffer.left();
        _base = _buffer._data + _buffer._offset - _begin;
        _swap = _buffer._byte_order != hostByteOrder;
    }
    template <MemberNumber T>
    bool take(T& number) {
        const size_t begin = alignedTo(sizeof number, _at);
        if (begin + sizeof number > _end) [[unlikely]]
            return false;
        T taken;
        std::memcpy(&taken, _base + begin, sizeof taken);
        number = _swap ? reversed(taken) : taken;
        _at = begin + sizeof number;
        return true;
    }
    // The octets after their count. When they are not complete: null, and nothing is taken.
    const char* takeRun(CORBA_ULong& count) {
        const size_t before = _at;
        if (!take(count) || count > _end - _at) [[unlikely]] {
            _at = before;
            return nullptr;
        }
        _at += count;
        return _base + _at - count;
    }
    // The same for a text of at least `least` octets that ends in a NUL.
    const char* takeText(CORBA_ULong& size, CORBA_ULong least) {
        const size_t before = _at;
        const char* const text = takeRun(size);
        if (text && size >= least && text[size - 1] == '\0') [[likely]]
            return text;
        _at = before;
        return nullptr;
    }
    // The buffer's own operators read from its position.
    template <class Step>
    void byBuffer(Step step) {
        leave();
        step();
        enter();
    }
    template <class T>
    void getByBuffer(T& member) {
        byBuffer([&] { static_cast<TRXistream&>(_buffer) >> member; });
    }

    CORBA_MarshalInBuffer& _buffer;
    size_t _begin, _at, _end;
    const char* _base;
    bool _swap;
};

// Reads members that may borrow from the buffer.
template <class... T>
[[gnu::hot]] void readMembers(CORBA_MarshalInBuffer& buffer, T&... members) {
    MembersReader reader(buffer);
    (reader.get(members), ...);
    reader.leave();
}

template <class... T>
class Members {
public:
    explicit Members(T&... members) : _members(members...) {}

    void write(TRXostream& stream) const {
        std::apply(
            [&stream](const auto&... member) {
                if (!writeAtOnce(stream.buffer(), memberOut(member)...))
                    (stream << ... << member);
            },
            _members);
    }
    void read(TRXistream& stream) const {
        std::apply(
            [&stream](auto&... member) {
                if (!stream.buffer())
                    return static_cast<void>((stream >> ... >> member));
                readMembers(*stream.buffer(), member...);
            },
            _members);
    }

private:
    template <class... Out>
    static bool writeAtOnce(CORBA_MarshalOutBuffer* buffer, const Out&... members) {
        if (!buffer || !buffer->takes_members((members.most() + ...)) || !(members.simple() && ...))
            [[unlikely]]
            return false;
        MembersWriter writer(buffer->_data + buffer->_offset, buffer->align());
        (members.write(writer), ...);
        buffer->_offset += writer.written();
        return true;
    }

    const std::tuple<T&...> _members;
};

template <class... T>
Members<T...> members(T&... members) {
    return Members<T...>(members...);
}

template <class... T>
TRXostream& operator<<(TRXostream& stream, const Members<T...>& members) {
    members.write(stream);
    return stream;
}
template <class... T>
TRXistream& operator>>(TRXistream& stream, const Members<T...>& members) {
    members.read(stream);
    return stream;
}

} // namespace harbolance
