#include "marshal/any/any_access.h"
#include "marshal/any/value_walk.h"
#include "marshal/limits.h"
#include "marshal/reference/object_operations.h"
#include "marshal/sequence/octet_sequence.h"
#include "marshal/text/print_line.h"
#include "marshal/typecode/kinds.h"

#include <cwchar>

using namespace harbolance;

namespace {

using Purpose = ValueWalk::Purpose;

// Writes a value of any kind that is not constructed.
void writeHeld(TRXostream& stream, CORBA_TCKind kind, const CORBA_Any& any) {
    switch (kind) {
    // Written through pointers: these operators raise CORBA_BAD_PARAM for a missing value.
    case tk_any: stream << static_cast<const CORBA_Any*>(AnyAccess::value(any)); return;
    case tk_TypeCode: stream << AnyAccess::heldType(any); return;
    case tk_objref: stream << AnyAccess::heldObject(any); return;
    case tk_Principal: stream << static_cast<const CORBA_OctetSequence*>(AnyAccess::value(any)); return;
    case tk_string: stream << AnyAccess::text(any); return;
    case tk_wstring: stream << AnyAccess::wideText(any); return;
    default: break;
    }
    forBasicKind(kind, [&]<class T>(std::type_identity<T>) { stream << AnyAccess::as<T>(any); });
}

// Writes a constructed value; of an exception only the members, without the repository id.
void writeConstructed(TRXostream& stream, const CORBA_TypeCode& type, const CORBA_Any& any) {
    CORBA_MarshalInBuffer octets = AnyAccess::octets(any);
    if (AnyAccess::carriesId(any))
        // Skips the id: the caller has already written it, or does not want it.
        octets.string_in_place();
    ValueWalk(octets, stream, Purpose::write).walk(&type);
}

const char* exceptionId(const CORBA_TypeCode& type, const CORBA_Any& any) {
    return AnyAccess::carriesId(any) ? AnyAccess::octets(any).string_in_place() : TypeCodeAccess::id(type);
}

// Reads a value through the stream operator that makes a new object, which the Any then owns.
template <class T>
void readHeld(CORBA_Any& any, TRXistream& stream, CORBA_TypeCode* type) {
    T* value = nullptr;
    stream >> value;
    AnyAccess::adopt(any, type, value, 0);
}

void readText(CORBA_Any& any, TRXistream& stream, CORBA_TypeCode* type) {
    char* text = nullptr;
    stream >> text;
    AnyAccess::adopt(any, type, text, text ? static_cast<CORBA_Long>(std::strlen(text) + 1) : 0);
}

void readWideText(CORBA_Any& any, TRXistream& stream, CORBA_TypeCode* type) {
    CORBA_WString_var text;
    stream >> text;
    // The peer's count is ignored: the text ends at its first zero.
    const size_t length = text.in() ? std::wcslen(text.in()) : 0;
    AnyAccess::adopt(any, type, text._retn(), static_cast<CORBA_Long>(length + 1));
}

// `id` is the repository id before an exception's members, or null. Most values are small, so they are
// marshalled on the stack and then copied to a block of exactly their size.
void readConstructed(CORBA_Any& any, TRXistream& stream, CORBA_TypeCode* type, const char* id) {
    alignas(8) char small[256];
    CORBA_MarshalOutBuffer octets(small, sizeof small, 0);
    if (id)
        octets << id;
    // The Any is not changed when this raises.
    ValueWalk(stream, octets, Purpose::copy).walk(type);
    char* block = octets.data();
    const CORBA_ULong length = octets.offset();
    if (block == small) {
        block = CORBA_string_alloc(length);
        std::memcpy(block, small, length);
    } else {
        // The value did not fit on the stack; the Any takes ownership of the buffer's block.
        octets.own(0);
    }
    AnyAccess::adopt(any, type, block, static_cast<CORBA_Long>(length), id != nullptr);
}

void printValue(TRXostream& stream, const CORBA_Any& any) {
    const CORBA_TypeCode& type = TypeCodeAccess::unaliased(*AnyAccess::type(any));
    switch (type.kind()) {
    // These three have readable forms that differ from their stream operators.
    case tk_any: printAny(stream, *static_cast<const CORBA_Any*>(AnyAccess::value(any))); return;
    case tk_TypeCode: CORBA_TypeCode::dump(stream, AnyAccess::heldType(any)); return;
    case tk_objref: printObject(stream, AnyAccess::heldObject(any)); return;
    default: break;
    }
    if (!isConstructed(type.kind())) {
        writeHeld(stream, type.kind(), any);
        return;
    }
    CORBA_MarshalInBuffer octets = AnyAccess::octets(any);
    if (AnyAccess::carriesId(any))
        stream << octets.string_in_place();
    ValueWalk(octets, stream, Purpose::print).walk(&type);
}

} // namespace

void CORBA_Any::write_value(TRXostream& stream) const {
    const CORBA_TypeCode& type = TypeCodeAccess::unaliased(*_tc);
    // On the wire the repository id comes between the type and the members.
    if (type.kind() == tk_except)
        stream << exceptionId(type, *this);
    if (isConstructed(type.kind()))
        writeConstructed(stream, type, *this);
    else
        writeHeld(stream, type.kind(), *this);
}

void CORBA_Any::write_members(TRXostream& stream) const {
    const CORBA_TypeCode& type = TypeCodeAccess::unaliased(*_tc);
    if (type.kind() == tk_except)
        writeConstructed(stream, type, *this);
    else
        write_value(stream);
}

void CORBA_Any::read_value(TRXistream& stream, CORBA_TypeCode* type) {
    if (!type)
        throw CORBA_BAD_PARAM();
    const CORBA_TCKind kind = TypeCodeAccess::valueKind(*type);
    // Read into a variable, so that the Any is unchanged when the stream raises.
    const bool isBasic = forBasicKind(kind, [&]<class T>(std::type_identity<T>) {
        T value{};
        stream >> value;
        AnyAccess::store(*this, type, value);
    });
    if (isBasic)
        return;
    switch (kind) {
    case tk_null:
    case tk_void: adopt(type, nullptr, 0); break;
    case tk_any: readHeld<CORBA_Any>(*this, stream, type); break;
    case tk_TypeCode: readHeld<CORBA_TypeCode>(*this, stream, type); break;
    case tk_objref: readHeld<CORBA_Object>(*this, stream, type); break;
    case tk_Principal: readHeld<CORBA_OctetSequence>(*this, stream, type); break;
    case tk_string: readText(*this, stream, type); break;
    case tk_wstring: readWideText(*this, stream, type); break;
    default: readConstructed(*this, stream, type, nullptr);
    }
}

TRXostream& operator<<(TRXostream& stream, const CORBA_Any& any) {
    const OwnNesting nesting;
    stream << AnyAccess::type(any);
    any.write_value(stream);
    return stream;
}

TRXostream& operator<<(TRXostream& stream, const CORBA_Any* any) {
    if (!any)
        throw CORBA_BAD_PARAM();
    return stream << *any;
}

TRXistream& operator>>(TRXistream& stream, CORBA_Any& any) {
    // An Any may contain an Any; the depth is chosen by the peer, so it is limited.
    const ReadNesting nesting;
    CORBA_TypeCode_var type;
    stream >> type;
    // Not done by `read_value`, which is called for members whose id has already been read.
    if (TypeCodeAccess::valueKind(*type) == tk_except) {
        CORBA_String_var id;
        stream >> id;
        readConstructed(any, stream, type, id.in());
    } else {
        any.read_value(stream, type);
    }
    return stream;
}

TRXistream& operator>>(TRXistream& stream, CORBA_Any*& any) {
    any = nullptr;
    auto read = std::make_unique<CORBA_Any>();
    stream >> *read;
    any = read.release();
    return stream;
}

void harbolance::printAny(TRXostream& stream, const CORBA_Any& any) {
    const OwnNesting nesting;
    printLine(stream, {"TypeCode: "});
    CORBA_TypeCode::dump(stream, AnyAccess::type(any));
    if (!AnyAccess::value(any)) {
        printLine(stream, {"Value: (null)"});
        return;
    }
    printLine(stream, {"Value: "});
    printValue(stream, any);
}

std::ostream& operator<<(std::ostream& stream, const CORBA_Any& any) {
    TRXostream text(stream);
    if (isConsole(stream))
        printAny(text, any);
    else
        text << any;
    return stream;
}
