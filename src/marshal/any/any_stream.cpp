#include "marshal/any/any.h"
#include "marshal/any/value_walk.h"
#include "marshal/cdr/nesting.h"
#include "marshal/reference/object_operations.h"
#include "marshal/sequence/octet_sequence.h"
#include "marshal/text/print_form.h"

using namespace harbolance;

namespace {

using Purpose = TRXValueWalk::Purpose;

void writeBasic(TRXostream& stream, CORBA_TCKind kind, const CORBA_Any& any) {
    switch (kind) {
    case tk_short: stream << any._as<CORBA_Short>(); break;
    case tk_ushort: stream << any._as<CORBA_UShort>(); break;
    case tk_long: stream << any._as<CORBA_Long>(); break;
    case tk_ulong:
    case tk_enum: stream << any._as<CORBA_ULong>(); break;
    case tk_longlong: stream << any._as<CORBA_LongLong>(); break;
    case tk_ulonglong: stream << any._as<CORBA_ULongLong>(); break;
    case tk_float: stream << any._as<CORBA_Float>(); break;
    case tk_double: stream << any._as<CORBA_Double>(); break;
    case tk_boolean:
    case tk_octet: stream << any._as<CORBA_Octet>(); break;
    case tk_char: stream << any._as<CORBA_Char>(); break;
    case tk_wchar: stream << any._as<CORBA_WChar>(); break;
    default: break;
    }
}

void writeObject(TRXostream& stream, CORBA_TCKind kind, const CORBA_Any& any) {
    const void* value = any._representation();
    switch (kind) {
    case tk_any: stream << static_cast<const CORBA_Any*>(value); break;
    case tk_TypeCode: stream << any._held_type(); break;
    case tk_objref: stream << static_cast<CORBA_Object*>(const_cast<void*>(value)); break;
    case tk_Principal: stream << static_cast<const CORBA_OctetSequence*>(value); break;
    case tk_string: stream << any._text(); break;
    case tk_wstring: stream << static_cast<const CORBA_WChar*>(value); break;
    default: writeBasic(stream, kind, any);
    }
}

// Without the id that stands in front of an exception's members.
void writeMembers(TRXostream& stream, const CORBA_TypeCode& type, const CORBA_Any& any) {
    CORBA_MarshalInBuffer octets = any._octets();
    if (any._carries_id())
        octets.string_in_place();
    TRXValueWalk(octets, stream, Purpose::write).walk(&type);
}

const char* exceptionId(const CORBA_TypeCode& type, const CORBA_Any& any) {
    return any._carries_id() ? any._octets().string_in_place() : type._plain_id();
}

template <class T>
void readFixed(CORBA_Any& any, TRXistream& stream, CORBA_TypeCode* type) {
    T value{};
    stream >> value;
    any._store(type, value);
}

// False for a kind whose size is not fixed.
bool readFixed(CORBA_Any& any, TRXistream& stream, CORBA_TypeCode* type, CORBA_TCKind kind) {
    switch (kind) {
    case tk_short: readFixed<CORBA_Short>(any, stream, type); return true;
    case tk_ushort: readFixed<CORBA_UShort>(any, stream, type); return true;
    case tk_long: readFixed<CORBA_Long>(any, stream, type); return true;
    case tk_ulong:
    case tk_enum: readFixed<CORBA_ULong>(any, stream, type); return true;
    case tk_longlong: readFixed<CORBA_LongLong>(any, stream, type); return true;
    case tk_ulonglong: readFixed<CORBA_ULongLong>(any, stream, type); return true;
    case tk_float: readFixed<CORBA_Float>(any, stream, type); return true;
    case tk_double: readFixed<CORBA_Double>(any, stream, type); return true;
    case tk_boolean:
    case tk_octet: readFixed<CORBA_Octet>(any, stream, type); return true;
    case tk_char: readFixed<CORBA_Char>(any, stream, type); return true;
    case tk_wchar: readFixed<CORBA_WChar>(any, stream, type); return true;
    default: return false;
    }
}

// A value that its stream operator makes anew. The Any takes it over.
template <class T>
void readHeld(CORBA_Any& any, TRXistream& stream, CORBA_TypeCode* type) {
    T* value = nullptr;
    stream >> value;
    any._adopt(type, value, 0);
}

void readText(CORBA_Any& any, TRXistream& stream, CORBA_TypeCode* type) {
    char* text = nullptr;
    stream >> text;
    any._adopt(type, text, text ? static_cast<CORBA_Long>(std::strlen(text) + 1) : 0);
}

void readWideText(CORBA_Any& any, TRXistream& stream, CORBA_TypeCode* type) {
    CORBA_WString_var text;
    stream >> text;
    const size_t length = text.in() ? std::char_traits<CORBA_WChar>::length(text.in()) : 0;
    any._adopt(type, text._retn(), static_cast<CORBA_Long>(length + 1));
}

// `id` is what stands in front of the members of an exception, or null. Most values are small: they are put
// together on the stack and kept in a block of just their size.
void readConstructed(CORBA_Any& any, TRXistream& stream, CORBA_TypeCode* type, const char* id) {
    alignas(8) char small[256];
    CORBA_MarshalOutBuffer octets(small, sizeof small, 0);
    if (id)
        octets << id;
    TRXValueWalk(stream, octets, Purpose::copy).walk(type);
    char* block = octets.data();
    const CORBA_ULong length = octets.offset();
    if (block == small) {
        block = CORBA_string_alloc(length);
        std::memcpy(block, small, length);
    } else {
        octets.own(0);
    }
    any._adopt(type, block, static_cast<CORBA_Long>(length), id != nullptr);
}

} // namespace

void CORBA_Any::write_value(TRXostream& stream) const {
    const CORBA_TypeCode* type = _tc->_unaliased();
    if (type->kind() == tk_except)
        stream << exceptionId(*type, *this);
    if (tcIsConstructed(type->kind()))
        writeMembers(stream, *type, *this);
    else
        writeObject(stream, type->kind(), *this);
}

void CORBA_Any::write_members(TRXostream& stream) const {
    const CORBA_TypeCode* type = _tc->_unaliased();
    if (type->kind() == tk_except)
        writeMembers(stream, *type, *this);
    else
        write_value(stream);
}

void CORBA_Any::read_value(TRXistream& stream, CORBA_TypeCode* type) {
    if (!type)
        throw CORBA_BAD_PARAM();
    const CORBA_TCKind kind = type->_unaliased()->kind();
    if (readFixed(*this, stream, type, kind))
        return;
    switch (kind) {
    case tk_null:
    case tk_void: _adopt(type, nullptr, 0); break;
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
    const TRXNesting nesting;
    stream << any._type();
    any.write_value(stream);
    return stream;
}

TRXostream& operator<<(TRXostream& stream, const CORBA_Any* any) {
    if (!any)
        throw CORBA_BAD_PARAM();
    return stream << *any;
}

TRXistream& operator>>(TRXistream& stream, CORBA_Any& any) {
    const TRXNesting nesting;
    CORBA_TypeCode* type = nullptr;
    stream >> type;
    const CORBA_TypeCode_var holder(type);
    if (type->_unaliased()->kind() == tk_except) {
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

namespace {

void printValue(TRXostream& stream, const CORBA_Any& any) {
    const CORBA_TypeCode* type = any._type()->_unaliased();
    const void* value = any._representation();
    switch (type->kind()) {
    case tk_any: printAny(stream, *static_cast<const CORBA_Any*>(value)); return;
    case tk_TypeCode: CORBA_TypeCode::dump(stream, any._held_type()); return;
    case tk_objref: printObject(stream, static_cast<CORBA_Object*>(const_cast<void*>(value))); return;
    default: break;
    }
    if (!tcIsConstructed(type->kind())) {
        writeObject(stream, type->kind(), any);
        return;
    }
    CORBA_MarshalInBuffer octets = any._octets();
    if (any._carries_id())
        stream << octets.string_in_place();
    TRXValueWalk(octets, stream, Purpose::print).walk(type);
}

} // namespace

void printAny(TRXostream& stream, const CORBA_Any& any) {
    const TRXNesting nesting;
    printLine(stream, {"TypeCode: "});
    CORBA_TypeCode::dump(stream, any._type());
    if (!any._representation()) {
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
