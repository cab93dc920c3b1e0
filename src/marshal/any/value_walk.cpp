#include "marshal/any/value_walk.h"

#include "marshal/any/any.h"
#include "marshal/cdr/nesting.h"
#include "marshal/marshal_settings.h"
#include "marshal/reference/object_operations.h"
#include "marshal/reference/vior.h"
#include "marshal/sequence/octet_sequence.h"
#include "marshal/text/print_form.h"

#include <algorithm>
#include <string>

using namespace harbolance;

TRXValueWalk::TRXValueWalk(TRXistream& in, TRXostream& out, Purpose purpose)
    : _in(in), _out(out), _buffer(dynamic_cast<CORBA_MarshalInBuffer*>(&in)), _purpose(purpose) {}

// Text that has ended gives zeros for ever.
void TRXValueWalk::spend() {
    if (_credit == 0 || (_in.stream() && !_in.stream()->good()))
        throw CORBA_MARSHAL();
    --_credit;
}

template <class T>
void TRXValueWalk::move() {
    T value{};
    _in >> value;
    _out << value;
    earn(1);
}

void TRXValueWalk::walk(const CORBA_TypeCode* type) {
    if (!type)
        throw CORBA_BAD_TYPECODE();
    type = type->_unaliased();
    spend();
    switch (type->kind()) {
    case tk_string: moveText(); break;
    case tk_wstring: moveWideText(); break;
    case tk_any: moveAny(); break;
    case tk_TypeCode: moveTypeCode(); break;
    case tk_Principal: movePrincipal(); break;
    case tk_objref: moveReference(); break;
    case tk_struct:
    case tk_except: walkMembers(*type); break;
    case tk_union: walkUnion(*type); break;
    case tk_sequence: walkSequence(*type); break;
    case tk_array: walkElements(*type->_content(), type->length()); break;
    default: moveBasic(type->kind()); break;
    }
}

void TRXValueWalk::moveBasic(CORBA_TCKind kind) {
    switch (kind) {
    case tk_short: move<CORBA_Short>(); break;
    case tk_ushort: move<CORBA_UShort>(); break;
    case tk_long: move<CORBA_Long>(); break;
    case tk_ulong:
    case tk_enum: move<CORBA_ULong>(); break;
    case tk_longlong: move<CORBA_LongLong>(); break;
    case tk_ulonglong: move<CORBA_ULongLong>(); break;
    case tk_float: move<CORBA_Float>(); break;
    case tk_double: move<CORBA_Double>(); break;
    case tk_boolean:
    case tk_octet: move<CORBA_Octet>(); break;
    case tk_char: move<CORBA_Char>(); break;
    case tk_wchar: move<CORBA_WChar>(); break;
    default: break; // nothing, of any kind that has no values on the wire
    }
}

void TRXValueWalk::moveText() {
    if (!_buffer) {
        CORBA_String_var text;
        _in >> text;
        _out << text.in();
    } else {
        CORBA_ULong length = 0;
        const auto* text = reinterpret_cast<const char*>(_buffer->octets_in_place(length));
        if (length == 0 && !marshalSettings.nullString)
            throw CORBA_MARSHAL();
        if (!text || text[length - 1] == '\0')
            _out << text;
        else
            _out << std::string(text, length).c_str();
    }
    earn(1);
}

void TRXValueWalk::moveWideText() {
    CORBA_ULong count = 0;
    _in >> count;
    if (!_in.has(count))
        throw CORBA_MARSHAL();
    _out << count;
    earn(1);
    for (CORBA_ULong i = 0; i < count; ++i) {
        spend();
        move<CORBA_WChar>();
    }
}

void TRXValueWalk::movePrincipal() {
    CORBA_OctetSequence octets;
    _in >> octets;
    _out << octets;
    earn(1);
}

void TRXValueWalk::moveTypeCode() {
    CORBA_TypeCode* read = nullptr;
    _in >> read;
    const CORBA_TypeCode_var type(read);
    if (_purpose == Purpose::print)
        CORBA_TypeCode::dump(_out, type);
    else
        _out << type.in();
    earn(1);
}

// The repository id of an exception stands in front of its members. On its way an Any is not taken apart and
// put together again: with Anys inside Anys every level would double the work.
void TRXValueWalk::moveAny() {
    const TRXNesting nesting;
    ++_depth;
    earn(1);
    if (_purpose == Purpose::print) {
        CORBA_Any any;
        _in >> any;
        printAny(_out, any);
    } else {
        CORBA_TypeCode* read = nullptr;
        _in >> read;
        const CORBA_TypeCode_var type(read);
        _out << type.in();
        if (type->_unaliased()->kind() == tk_except)
            moveText();
        walk(type);
    }
    --_depth;
}

void TRXValueWalk::moveReference() {
    if (_purpose == Purpose::print) {
        CORBA_Object* read = nullptr;
        _in >> read;
        const HeldObject object(read);
        printObject(_out, object.get());
    } else {
        copyReference();
    }
    earn(1);
}

// As it is: whether anybody could use it is not asked here.
void TRXValueWalk::copyReference() {
    IOP::IOR reference;
    _in >> reference;
    _out << reference;
}

void TRXValueWalk::walkMembers(const CORBA_TypeCode& type) {
    const TRXNesting nesting;
    ++_depth;
    for (CORBA_ULong i = 0; i < type._members(); ++i)
        walk(type._member(i));
    --_depth;
}

template <class T>
void TRXValueWalk::moveDiscriminator(const CORBA_TypeCode& type, CORBA_Any& discriminator) {
    T value{};
    _in >> value;
    discriminator._store(const_cast<CORBA_TypeCode*>(type._discriminator()), value);
    _out << value;
    earn(1);
}

void TRXValueWalk::readDiscriminator(const CORBA_TypeCode& type, CORBA_Any& discriminator) {
    switch (type._discriminator()->_unaliased()->kind()) {
    case tk_short: return moveDiscriminator<CORBA_Short>(type, discriminator);
    case tk_long: return moveDiscriminator<CORBA_Long>(type, discriminator);
    case tk_ushort: return moveDiscriminator<CORBA_UShort>(type, discriminator);
    case tk_ulong:
    case tk_enum: return moveDiscriminator<CORBA_ULong>(type, discriminator);
    case tk_boolean:
    case tk_octet: return moveDiscriminator<CORBA_Octet>(type, discriminator);
    case tk_char: return moveDiscriminator<CORBA_Char>(type, discriminator);
    case tk_longlong: return moveDiscriminator<CORBA_LongLong>(type, discriminator);
    case tk_ulonglong: return moveDiscriminator<CORBA_ULongLong>(type, discriminator);
    case tk_wchar: return moveDiscriminator<CORBA_WChar>(type, discriminator);
    default: throw CORBA_INTERNAL();
    }
}

void TRXValueWalk::walkUnion(const CORBA_TypeCode& type) {
    const TRXNesting nesting;
    ++_depth;
    CORBA_Any discriminator;
    if (_purpose == Purpose::print)
        _out.write_raw("Discriminator Value: ", 21);
    readDiscriminator(type, discriminator);
    if (_purpose == Purpose::print)
        _out << std::endl;
    walk(type._member_for_label(discriminator));
    --_depth;
}

// Elements that take no octets would let a count of any size stand for nothing, and only what follows could
// tell whether it was a sensible one. A peer may not send them.
void TRXValueWalk::walkSequence(const CORBA_TypeCode& type) {
    CORBA_ULong count = 0;
    _in >> count;
    _out << count;
    earn(1);
    if (count == 0)
        return;
    if (_purpose == Purpose::copy && !_in.has(count))
        throw CORBA_MARSHAL();
    if (!type._content())
        throw CORBA_BAD_TYPECODE();
    const uint64_t passed = _passed;
    walkElements(*type._content(), count);
    if (_purpose == Purpose::copy && _passed == passed)
        throw CORBA_MARSHAL();
}

void TRXValueWalk::walkElements(const CORBA_TypeCode& content, CORBA_ULong count) {
    const CORBA_TypeCode* element = content._unaliased();
    if (_purpose != Purpose::print && count > 0 && moveElements(element->kind(), count))
        return;
    const TRXNesting nesting;
    ++_depth;
    for (CORBA_ULong i = 0; i < count; ++i)
        walk(element);
    --_depth;
}

// False for the kinds that go one by one.
bool TRXValueWalk::moveElements(CORBA_TCKind kind, CORBA_ULong count) {
    switch (kind) {
    case tk_short: return moveArray<CORBA_Short>(count);
    case tk_ushort: return moveArray<CORBA_UShort>(count);
    case tk_long: return moveArray<CORBA_Long>(count);
    case tk_ulong: return moveArray<CORBA_ULong>(count);
    case tk_longlong: return moveArray<CORBA_LongLong>(count);
    case tk_ulonglong: return moveArray<CORBA_ULongLong>(count);
    case tk_float: return moveArray<CORBA_Float>(count);
    case tk_double: return moveArray<CORBA_Double>(count);
    case tk_boolean:
    case tk_octet: return moveArray<CORBA_Octet>(count);
    case tk_char: return moveArray<CORBA_Char>(count);
    case tk_wchar: return moveArray<CORBA_WChar>(count);
    default: return false;
    }
}

template <class T>
bool TRXValueWalk::moveArray(CORBA_ULong count) {
    constexpr CORBA_ULong octetsEach = std::is_same_v<T, CORBA_WChar> ? 2 : sizeof(T);
    if (_in.stream() || (std::is_same_v<T, CORBA_Char> && _out.stream()))
        return false;
    expectArray(octetsEach, count);
    const bool sameInMemory =
        octetsEach == sizeof(T) && _buffer && _buffer->byte_order() == hostByteOrder &&
        reinterpret_cast<uintptr_t>(_buffer->data() + _buffer->offset() - _buffer->align() % sizeof(T)) %
                alignof(T) ==
            0;
    if (sameInMemory)
        moveInPlace<T>(count);
    else
        moveInPieces<T>(count);
    earn(count);
    return true;
}

// What ends too soon is a fault of the stream, and on the way out, behind its first element, one of whoever
// made the Any.
void TRXValueWalk::expectArray(CORBA_ULong octetsEach, CORBA_ULong count) const {
    const CORBA_ULong padding = _buffer ? -_buffer->align() & (octetsEach - 1) : 0;
    const uint64_t octets = padding + uint64_t{count} * octetsEach;
    if (octets <= UINT32_MAX && _in.has(static_cast<CORBA_ULong>(octets)))
        return;
    if (_purpose == Purpose::write && _in.has(padding + octetsEach))
        throw CORBA_BAD_PARAM();
    throw CORBA_MARSHAL();
}

// The first one by itself, which passes the padding, and all others straight from memory.
template <class T>
void TRXValueWalk::moveInPlace(CORBA_ULong count) {
    T first{};
    _in >> first;
    _out << first;
    const CORBA_ULong offset = _buffer->offset();
    const uint64_t octets = uint64_t{count - 1} * sizeof(T);
    const char* place = _buffer->data() + offset;
    if constexpr (std::is_same_v<T, CORBA_Char>)
        _out.write_raw(place, count - 1);
    else
        _out.write(reinterpret_cast<const T*>(place), count - 1);
    const CORBA_ULong position = _buffer->align() + static_cast<CORBA_ULong>(octets);
    _buffer->seek(offset + static_cast<CORBA_ULong>(octets));
    _buffer->align(position);
}

template <class T>
void TRXValueWalk::moveInPieces(CORBA_ULong count) {
    T piece[1024 / sizeof(T)];
    while (count > 0) {
        const CORBA_ULong some = std::min(count, static_cast<CORBA_ULong>(std::size(piece)));
        if constexpr (std::is_same_v<T, CORBA_Char>) {
            _in.read_raw(piece, some);
            _out.write_raw(piece, some);
        } else {
            _in.read(piece, some);
            _out.write(piece, some);
        }
        count -= some;
    }
}
