#pragma once

#include "marshal/cdr/vbuf.h"
#include "marshal/exception/vexcept.h"
#include "marshal/generated/array.h"
#include "marshal/generated/bounded_string.h"
#include "marshal/generated/value_var.h"
#include "marshal/typecode/typecode.h"
#include "object/interface.h"

#include <memory>

// What generated operations are made of. A stub is one statement:
//
//   Account_ptr Branch::open(const char* owner, Fees*& fees) {
//       return harbolance::call<Account_ptr>(*this, "open", harbolance::in(owner), harbolance::out(fees));
//   }
//
// The C++ type says how a value travels and who frees it. Strings with a bound and arrays cannot be told by
// their C++ type, so their type is named: `in<BoundedString<8>>(text)`, `in(array<Row>(row))`.

namespace harbolance {

// --- Stubs -------------------------------------------------------------------------------------------------

// An array argument, given as a pointer to its first slice.
template <class Array>
ArrayRef<Array> array(const SliceOf<Array>* slice) {
    // An ArrayRef serves both directions; one made from a const array is only read.
    return const_cast<SliceOf<Array>*>(slice);
}

// --- What comes back ---------------------------------------------------------------------------------------

// Holds a result or out argument while the reply is being read, and frees it when reading raises. `Type` is
// what the caller gets, and frees if it is a pointer. Numbers and types of fixed size are returned by value.
template <class T>
class Received {
public:
    using Type = T;
    void read(TRXistream& stream) { stream >> _value; }
    T give() { return std::move(_value); }

private:
    T _value{};
};

template <>
class Received<void> {
public:
    using Type = void;
    void read(TRXistream&) {}
    void give() {}
};

// Structs, unions, sequences and Anys of variable size; the caller gets a pointer.
template <class T>
class Received<T*> {
public:
    using Type = T*;
    void read(TRXistream& stream) {
        // Null until a reply is read; a call that ends without a reply returns null.
        _value = std::make_unique<T>();
        stream >> *_value;
    }
    T* give() { return _value.release(); }

private:
    std::unique_ptr<T> _value;
};

// Strings and references, read into a holder that owns them.
template <class Holder, class Pointer>
class ReceivedByHolder {
public:
    using Type = Pointer;
    void read(TRXistream& stream) { stream >> _holder; }
    Pointer give() { return _holder._retn(); }
    // Replaces a pointer that the caller owns by the value read, and frees the old value.
    void replace(Pointer& owned) {
        // Takes ownership of the old value, which is freed after the assignment.
        const Holder old(owned);
        owned = give();
    }

private:
    Holder _holder{static_cast<Pointer>(nullptr)};
};
template <>
class Received<char*> : public ReceivedByHolder<CORBA_String_var, char*> {};
template <>
class Received<CORBA_WChar*> : public ReceivedByHolder<CORBA_WString_var, CORBA_WChar*> {};
template <class Text, CORBA_ULong bound>
class Received<BoundedText<Text, bound>>
    : public ReceivedByHolder<BoundedText<Text, bound>, typename Text::Char*> {};
template <>
class Received<CORBA_TypeCode*> : public ReceivedByHolder<TRXVar<CORBA_TypeCode>, CORBA_TypeCode*> {};
template <std::derived_from<CORBA_Object> T>
class Received<T*> : public ReceivedByHolder<TRXVar<T>, T*> {};

template <class T, size_t length>
class Received<T[length]> {
public:
    using Type = SliceOf<T[length]>*;
    void read(TRXistream& stream) {
        _array = allocateArray<T[length]>();
        stream >> ArrayRef<T[length]>(_array.inout());
    }
    Type give() { return _array._retn(); }

private:
    ArrayVar<T[length]> _array;
};

// --- Arguments ---------------------------------------------------------------------------------------------

// Each class below refers to an argument given by the caller of a stub. `write` writes it to the request,
// `read` reads it from the reply, and `give` stores what was read, once the whole reply has been read without
// an error.
struct Argument {
    void write(TRXostream&) const {}
    void read(TRXistream&) {}
    void give() {}
};

template <class T>
inline constexpr bool hasBound = false;
template <class Text, CORBA_ULong bound>
inline constexpr bool hasBound<BoundedText<Text, bound>> = true;

// Types that must be named, because their C++ type does not identify them.
template <class T>
concept NamedArgument = hasBound<T> || std::is_array_v<T>;

// A value beyond the bound raises CORBA_BAD_PARAM.
template <class T>
struct Written {
    template <class Given>
    static void write(TRXostream& stream, const Given& value) {
        stream << value;
    }
};
template <class Text, CORBA_ULong bound>
struct Written<BoundedText<Text, bound>> : TextElement<Text, bound> {};
// Octet sequences: the argument lives until the request has been sent, so a long one is borrowed, not copied.
template <std::derived_from<TRXSequence<CORBA_Octet>> T>
struct Written<T> {
    static void write(TRXostream& stream, const T& value) {
        CORBA_MarshalOutBuffer* const buffer = stream.buffer();
        if (!buffer) {
            stream << value;
            return;
        }
        *buffer << value.length();
        buffer->write_borrowed(value.buffer(), value.length());
    }
};

template <class T, class Given = T>
class In : public Argument {
public:
    explicit In(const Given& value) : _value(value) {}
    void write(TRXostream& stream) const { Written<T>::write(stream, _value); }

private:
    const Given& _value;
};

template <class T>
class Out : public Argument {
public:
    using Type = typename Received<T>::Type;
    explicit Out(Type& target) : _target(target) {
        // Null until the call has succeeded, so that after an exception the caller has nothing to free.
        if constexpr (std::is_pointer_v<Type>)
            target = nullptr;
    }
    void read(TRXistream& stream) { _received.read(stream); }
    void give() { _target = _received.give(); }

private:
    Type& _target;
    Received<T> _received;
};

// A string or reference; the caller's value is freed and replaced by the one read.
template <class T>
class InOut : public Argument {
public:
    using Type = typename Received<T>::Type;
    explicit InOut(Type& target) : _target(target) {}
    void write(TRXostream& stream) const { Written<T>::write(stream, _target); }
    void read(TRXistream& stream) { _received.read(stream); }
    void give() { _received.replace(_target); }

private:
    Type& _target;
    Received<T> _received;
};

// Arguments that are read into the caller's own object. With `inout` the object is also sent.
template <class T, bool inout>
class InPlace : public Argument {
public:
    explicit InPlace(T& value) : _value(value) {}
    void write(TRXostream& stream) const {
        if constexpr (inout)
            stream << _value;
    }
    void read(TRXistream& stream) { stream >> _value; }

private:
    T& _value;
};

template <class T>
requires(!NamedArgument<T>) In<T> in(const T& value) { return In<T>(value); }
template <NamedArgument T>
In<T, const char*> in(const char* const& text) {
    return In<T, const char*>(text);
}
template <NamedArgument T>
In<T, const CORBA_WChar*> in(const CORBA_WChar* const& text) {
    return In<T, const CORBA_WChar*>(text);
}

template <class T>
requires(!NamedArgument<T>) Out<T> out(T& target) { return Out<T>(target); }
template <NamedArgument T>
Out<T> out(typename Received<T>::Type& target) {
    return Out<T>(target);
}
template <class Array> // of fixed size: in the caller's memory
InPlace<const ArrayRef<Array>, false> out(const ArrayRef<Array>& target) {
    return InPlace<const ArrayRef<Array>, false>(target);
}

template <class T>
requires(!NamedArgument<T> && !std::is_pointer_v<T>) InPlace<T, true> inout(T& value) {
    return InPlace<T, true>(value);
}
template <class Array>
InPlace<const ArrayRef<Array>, true> inout(const ArrayRef<Array>& value) {
    return InPlace<const ArrayRef<Array>, true>(value);
}
template <class T>
InOut<T*> inout(T*& target) {
    return InOut<T*>(target);
}
template <NamedArgument T>
InOut<T> inout(typename Received<T>::Type& target) {
    return InOut<T>(target);
}

// --- Calls -------------------------------------------------------------------------------------------------

// Calls an operation and waits for the reply. CORBA_TRANSIENT makes the request anew, without a limit; every
// other exception is passed to the caller. When an interceptor ends the call without a reply, the result is
// empty and the arguments are unchanged. A request served during the wait may release the target.
template <class Result = void, class... Arguments>
typename Received<Result>::Type call(CORBA_Object& target, const char* operation, Arguments... arguments) {
    const CORBA_Object_var held(CORBA_Object::_duplicate(&target));
    for (;;) {
        try {
            const CORBA_MarshalOutBuffer_var request(target._stub_request(operation, 1));
            (arguments.write(*request), ...);
            const CORBA_MarshalInBuffer_var reply(target._stub_invoke(request.in()));
            // A new one for each attempt, so that nothing of a failed reply remains.
            Received<Result> result;
            if (reply.in()) {
                result.read(*reply);
                (arguments.read(*reply), ...);
                // The caller owns nothing of the reply before all of it has been read.
                (arguments.give(), ...);
            }
            return result.give();
        } catch (const CORBA_TRANSIENT&) {
            continue;
        }
    }
}

// The same for a one-way operation.
template <class... Arguments>
void callOneway(CORBA_Object& target, const char* operation, Arguments... arguments) {
    const CORBA_Object_var held(CORBA_Object::_duplicate(&target));
    for (;;) {
        try {
            const CORBA_MarshalOutBuffer_var request(target._stub_request(operation, 0));
            (arguments.write(*request), ...);
            target._stub_send(request.in());
            return;
        } catch (const CORBA_TRANSIENT&) {
            continue;
        }
    }
}

// --- Skeletons ---------------------------------------------------------------------------------------------

// A result or out argument of variable size, as the servant has set it. Null raises CORBA_BAD_PARAM.
template <class T>
const T& given(const TRXVar<T>& holder) {
    if (!holder.in())
        throw CORBA_BAD_PARAM();
    return *holder;
}
template <class T>
const T& given(const VariableVar<T>& holder) {
    return holder.in();
}
template <class Array>
ArrayRef<Array> given(const ArrayVar<Array>& holder) {
    if (!holder.in())
        throw CORBA_BAD_PARAM();
    return array<Array>(holder.in());
}

// An `in` argument need only be valid during the call, as is the message, so a large octet sequence is
// borrowed from the message's buffer and not copied.
template <std::derived_from<TRXSequence<CORBA_Octet>> T>
struct InMessage {
    T& sequence;
};
template <class T>
InMessage<T> inMessage(T& sequence) {
    return {sequence};
}
// The stream must be a message's buffer.
template <class T>
TRXistream& operator>>(TRXistream& stream, InMessage<T> argument) {
    CORBA_ULong length = 0;
    // The arguments of a request always come in such a buffer. The length is checked against the octets left
    // in it.
    const unsigned char* octets = static_cast<CORBA_MarshalInBuffer&>(stream).octets_in_place(length);
    // Borrowed: `false` keeps the sequence from freeing the octets.
    argument.sequence = T(length, length, const_cast<unsigned char*>(octets), false);
    return stream;
}

} // namespace harbolance
