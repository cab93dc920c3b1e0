#include "marshal/any/value_walk.h"

#include "marshal/marshal_settings.h"
#include "marshal/reference/object_operations.h"
#include "marshal/reference/vior.h"
#include "marshal/sequence/octet_sequence.h"
#include "marshal/text/print_line.h"
#include "marshal/typecode/kinds.h"

#include <algorithm>
#include <string>

using namespace harbolance;

// Counts one level of nesting.
class ValueWalk::Level {
public:
    explicit Level(ValueWalk& walk) : _walk(walk) { ++walk._depth; }
    Level(const Level&) = delete;
    Level& operator=(const Level&) = delete;
    ~Level() { --_walk._depth; }

private:
    ReadNesting _nesting;
    ValueWalk& _walk;
};

ValueWalk::ValueWalk(TRXistream& in, TRXostream& out, Purpose purpose)
    : _in(in), _out(out), _buffer(in.buffer()), _purpose(purpose) {
    // Values that are written or printed were accepted when they came in; the limit for peers must not apply
    // to them.
    if (purpose != Purpose::copy)
        _own.emplace();
}

// At its end a text stream gives zeros for ever, so its state is tested here.
void ValueWalk::beginVisit() {
    if (_visitsLeft == 0 || (_in.stream() && !_in.stream()->good()))
        throw CORBA_MARSHAL();
    --_visitsLeft;
}

template <class T>
void ValueWalk::move() {
    T value{};
    _in >> value;
    _out << value;
    countPassed(1);
}

void ValueWalk::walk(const CORBA_TypeCode* type) {
    if (!type)
        throw CORBA_BAD_TYPECODE();
    // Aliases do not count as visits, because no value belongs to them.
    type = &TypeCodeAccess::unaliased(*type);
    beginVisit();
    switch (type->kind()) {
    case tk_string: return moveText();
    case tk_wstring: return moveWideText();
    case tk_any: return moveAny();
    case tk_TypeCode: return moveTypeCode();
    case tk_Principal: return movePrincipal();
    case tk_objref: return moveReference();
    case tk_struct:
    case tk_except: return walkMembers(*type);
    case tk_union: return walkUnion(*type);
    case tk_sequence: return walkSequence(*type);
    case tk_array: return walkElements(*TypeCodeAccess::content(*type), TypeCodeAccess::length(*type));
    default: break;
    }
    // Any other kind has no values on the wire.
    forBasicKind(type->kind(), [this]<class T>(std::type_identity<T>) { move<T>(); });
}

void ValueWalk::moveText() {
    // A text stream has no memory to point into, so the string is copied.
    if (!_buffer) {
        CORBA_String_var text;
        _in >> text;
        _out << text.in();
    } else {
        CORBA_ULong length = 0;
        const auto* text = reinterpret_cast<const char*>(_buffer->octets_in_place(length));
        // The same rules as for reading a string: a text that could not be read must not be passed on.
        if (length == 0 && !marshalSettings.nullString)
            throw CORBA_MARSHAL();
        // Written directly from the buffer, provided that the peer has sent its NUL.
        if (!text || text[length - 1] == '\0')
            _out << text;
        else
            _out << std::string(text, length).c_str();
    }
    countPassed(1);
}

void ValueWalk::moveWideText() {
    CORBA_ULong count = 0;
    _in >> count;
    // Each character takes two octets. This check refuses impossible counts; the loop stops at missing
    // characters.
    if (!_in.has(count))
        throw CORBA_MARSHAL();
    _out << count;
    countPassed(1);
    for (CORBA_ULong i = 0; i < count; ++i) {
        beginVisit();
        move<CORBA_WChar>();
    }
}

void ValueWalk::movePrincipal() {
    CORBA_OctetSequence octets;
    _in >> octets;
    _out << octets;
    countPassed(1);
}

void ValueWalk::moveTypeCode() {
    CORBA_TypeCode_var type;
    _in >> type;
    if (_purpose == Purpose::print)
        CORBA_TypeCode::dump(_out, type);
    else
        _out << type;
    countPassed(1);
}

// Moves type and value without making an Any: with Anys nested in Anys, each level would double the work. The
// repository id of an exception precedes its members.
void ValueWalk::moveAny() {
    const Level level(*this);
    countPassed(1);
    if (_purpose == Purpose::print) {
        CORBA_Any any;
        _in >> any;
        printAny(_out, any);
        return;
    }
    CORBA_TypeCode_var type;
    _in >> type;
    _out << type;
    // The id is not part of the value that the type describes.
    if (TypeCodeAccess::valueKind(*type) == tk_except)
        moveText();
    walk(type);
}

// Copied as a reference without making an object, so that an unusable reference can also be passed on.
void ValueWalk::moveReference() {
    if (_purpose == Purpose::print) {
        CORBA_Object* read = nullptr;
        _in >> read;
        const HeldObject object(read);
        printObject(_out, object.get());
    } else {
        IOP::IOR reference;
        _in >> reference;
        _out << reference;
    }
    countPassed(1);
}

void ValueWalk::walkMembers(const CORBA_TypeCode& type) {
    const Level level(*this);
    for (CORBA_ULong i = 0; i < TypeCodeAccess::memberCount(type); ++i)
        walk(TypeCodeAccess::memberType(type, i));
}

uint64_t ValueWalk::moveDiscriminator(const CORBA_TypeCode& type) {
    const CORBA_TCKind kind = TypeCodeAccess::valueKind(TypeCodeAccess::discriminator(type));
    if (!isDiscriminator(kind))
        throw CORBA_INTERNAL();
    uint64_t octets = 0;
    forBasicKind(kind, [&]<class T>(std::type_identity<T>) {
        T value{};
        _in >> value;
        _out << value;
        // The octets in the form in which the type stores its labels.
        octets = TypeCodeAccess::labelOf(value);
    });
    countPassed(1);
    return octets;
}

void ValueWalk::walkUnion(const CORBA_TypeCode& type) {
    const Level level(*this);
    if (_purpose == Purpose::print)
        _out.write_raw("Discriminator Value: ", 21);
    const uint64_t discriminator = moveDiscriminator(type);
    if (_purpose == Purpose::print)
        _out << std::endl;
    walk(TypeCodeAccess::memberFor(type, discriminator));
}

// Elements that take no octets are refused when they come from a peer, because the stream would not limit
// their number.
void ValueWalk::walkSequence(const CORBA_TypeCode& type) {
    CORBA_ULong count = 0;
    _in >> count;
    _out << count;
    countPassed(1);
    if (count == 0)
        return;
    // Elements of less than an octet each are refused after the loop.
    if (_purpose == Purpose::copy && !_in.has(count))
        throw CORBA_MARSHAL();
    if (!TypeCodeAccess::content(type))
        throw CORBA_BAD_TYPECODE();
    // If the number of values has not changed afterwards, the elements took no octets.
    const uint64_t passed = _passed;
    walkElements(*TypeCodeAccess::content(type), count);
    if (_purpose == Purpose::copy && _passed == passed)
        throw CORBA_MARSHAL();
}

void ValueWalk::walkElements(const CORBA_TypeCode& content, CORBA_ULong count) {
    const CORBA_TypeCode& element = TypeCodeAccess::unaliased(content);
    if (_purpose != Purpose::print && count > 0 && moveElements(element.kind(), count))
        return;
    const Level level(*this);
    for (CORBA_ULong i = 0; i < count; ++i)
        walk(&element);
}

// Moves all elements at once if their kind allows it; false if they must be moved one by one.
bool ValueWalk::moveElements(CORBA_TCKind kind, CORBA_ULong count) {
    bool moved = false;
    if (kind != tk_enum)
        forBasicKind(kind, [&]<class T>(std::type_identity<T>) { moved = moveArray<T>(count); });
    return moved;
}

template <class T>
bool ValueWalk::moveArray(CORBA_ULong count) {
    constexpr CORBA_ULong octetsEach = std::is_same_v<T, CORBA_WChar> ? 2 : sizeof(T);
    // In the text form an array of characters would be raw characters, not numbers.
    if (_in.stream() || (std::is_same_v<T, CORBA_Char> && _out.stream()))
        return false;
    expectArray(octetsEach, count);
    // The octets can be used directly as an array if size, byte order and alignment in memory are right.
    const bool sameInMemory =
        octetsEach == sizeof(T) && _buffer && _buffer->byte_order() == hostByteOrder &&
        reinterpret_cast<uintptr_t>(_buffer->data() + _buffer->offset() - _buffer->align() % sizeof(T)) %
                alignof(T) ==
            0;
    if (sameInMemory)
        moveInPlace<T>(count);
    else
        moveInPieces<T>(count);
    countPassed(count);
    return true;
}

// A truncated array raises CORBA_MARSHAL, except that in an Any's octets, after the first element, it raises
// CORBA_BAD_PARAM.
void ValueWalk::expectArray(CORBA_ULong octetsEach, CORBA_ULong count) const {
    const CORBA_ULong padding = _buffer ? -_buffer->align() & (octetsEach - 1) : 0;
    const uint64_t octets = padding + uint64_t{count} * octetsEach;
    if (octets <= UINT32_MAX && _in.has(static_cast<CORBA_ULong>(octets)))
        return;
    if (_purpose == Purpose::write && _in.has(padding + octetsEach))
        throw CORBA_BAD_PARAM();
    throw CORBA_MARSHAL();
}

// The first element is read alone, which skips the padding; the others are written directly from memory.
template <class T>
void ValueWalk::moveInPlace(CORBA_ULong count) {
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
    // `seek` also changes the stream position, which must continue here.
    const CORBA_ULong position = _buffer->align() + static_cast<CORBA_ULong>(octets);
    _buffer->seek(offset + static_cast<CORBA_ULong>(octets));
    _buffer->align(position);
}

template <class T>
void ValueWalk::moveInPieces(CORBA_ULong count) {
    // On the stack, so that a large count from a peer costs no memory.
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
