#pragma once

#include "base/free_list.h"
#include "marshal/cdr/vbuf.h"

#include <utility>

namespace harbolance {

// Keeps the memory of a servant's argument for the next request, so that a sequence of structs with strings
// is read without an allocation for each string. Only for sequences of strings, or of structs of numbers and
// strings: an old value of these types has no effect except that it takes memory.
//
// One object of each type is kept. It is destroyed after 4 MiB of messages in sum, because each of its
// strings keeps the length of the longest that it has held. In a nested call, while the kept object is in
// use, a new one is made.
template <class T>
class ReusedArgument {
public:
    explicit ReusedArgument(const CORBA_MarshalInBuffer& request)
        : _value(_kept ? std::exchange(_kept, nullptr) : new Value) {
        _value->octets += request.size();
    }
    ReusedArgument(const ReusedArgument&) = delete;
    ReusedArgument& operator=(const ReusedArgument&) = delete;
    ~ReusedArgument() {
        // Not kept when the servant has replaced the value by one that does not own its memory.
        if (keepsMemory && !_kept && _value->octets <= mostOctets && _value->sequence.release())
            _kept = _value;
        else
            delete _value;
    }

    T& operator*() { return _value->sequence; }

private:
    static constexpr uint64_t mostOctets = uint64_t{4} << 20;

    struct Value {
        T sequence;
        uint64_t octets = 0;
    };
    static inline constinit Value* _kept = nullptr;

    Value* const _value;
};

} // namespace harbolance
