#pragma once

#include "base/free_list.h"
#include "marshal/cdr/vbuf.h"

#include <utility>

namespace harbolance {

// An argument of a servant's operation whose memory serves the next request, so that a sequence of structs
// with strings is read without an allocation for each. For sequences of strings, or of structs that hold
// numbers and strings only: what such a value leaves behind has no effect but the memory that it takes.
//
// One object of each type is kept. What it holds came out of messages; it goes when they have been 4 MiB in
// sum, since the strings in it are each as long as the longest that any of them had in its place. An argument
// inside a nested call, while the kept one is in use, is an object of its own.
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
        // A servant may have replaced the value by one in memory of its own.
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
