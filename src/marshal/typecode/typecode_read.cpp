#include "marshal/any/any.h"
#include "marshal/cdr/nesting.h"
#include "marshal/marshal_settings.h"
#include "marshal/sequence/octet_sequence.h"
#include "marshal/typecode/typecode.h"
#include "marshal/typecode/typecode_coder.h"
#include "marshal/typecode/typecode_table.h"

#include <algorithm>
#include <optional>
#include <vector>

using namespace harbolance;

// Makes a TypeCode of what a peer sent. What follows the kind is the same in both modes; how a TypeCode
// inside a TypeCode is read is not. A type belongs to the frame that reads it until it is complete, and then
// to the type that it is a part of, so nothing that is remembered here is owned.
class TRXTypeCodeReader {
public:
    TRXTypeCodeReader() = default;
    TRXTypeCodeReader(const TRXTypeCodeReader&) = delete;
    TRXTypeCodeReader& operator=(const TRXTypeCodeReader&) = delete;
    virtual ~TRXTypeCodeReader() = default;

    // `base` is the position of the stream's first octet in the outermost stream.
    virtual CORBA_TypeCode_var read(TRXistream& stream, int64_t base) = 0;

protected:
    static CORBA_TypeCode_var make(CORBA_ULong kind) {
        return new CORBA_TypeCode(CORBA_TypeCode::Raw{}, static_cast<CORBA_TCKind>(kind), false);
    }
    // What an indirection that leads to `found` gives.
    CORBA_TypeCode_var refer(CORBA_TypeCode* found);
    // Where an alias is no target when it is written again. Before `refer`.
    void boundRepetition(const CORBA_TypeCode& found);
    void begin(CORBA_TypeCode& type) {
        type._closed = false;
        _open.push_back(&type);
    }
    void end() {
        _open.back()->_closed = true;
        _open.pop_back();
    }
    void readFields(CORBA_TypeCode& type, TRXistream& stream, int64_t base);
    bool isInside() const { return !_open.empty(); } // what is read next is a part of a type

private:
    static void readIdentity(CORBA_TypeCode& type, TRXistream& stream, CORBA_String_var& name);
    static CORBA_ULong readCount(TRXistream& stream, CORBA_ULong octetsEach);
    static void addText(CORBA_TypeCode& type, CORBA_String_var& text);
    static void addText(CORBA_TypeCode& type, TRXistream& stream);
    void addType(CORBA_TypeCode& type, CORBA_TypeCode_var part);
    void readMembers(CORBA_TypeCode& type, TRXistream& stream, int64_t base);
    void readEnum(CORBA_TypeCode& type, TRXistream& stream);
    void readUnion(CORBA_TypeCode& type, TRXistream& stream, int64_t base);
    void markOpenFrom(size_t index);

    size_t _repeated = 0;               // octets that what has been pointed back at will take once more
    size_t _mayRepeat = 1u << 16;       // grows with what is read
    std::vector<CORBA_TypeCode*> _open; // the types around the one that is being read
};

namespace {

bool hasMembers(CORBA_TCKind kind) { return kind == tk_struct || kind == tk_union || kind == tk_except; }

} // namespace

// A type with members can be a part of itself through a sequence, whose values may be empty. Anything else
// would be a type without end.
CORBA_TypeCode_var TRXTypeCodeReader::refer(CORBA_TypeCode* found) {
    if (found->_closed) {
        if (found->_cyclic)
            markOpenFrom(0);
        return CORBA_TypeCode::_duplicate(found);
    }
    const auto from = std::find(_open.begin(), _open.end(), found);
    const auto passes = [&](auto accepts) { return std::any_of(from, _open.end(), accepts); };
    if (!passes([](const CORBA_TypeCode* type) { return type->_kind == tk_sequence; }) ||
        !passes([](const CORBA_TypeCode* type) { return hasMembers(type->_kind); }))
        throw CORBA_MARSHAL();
    markOpenFrom(static_cast<size_t>(from - _open.begin()));
    return CORBA_TypeCode::_duplicate(found);
}

// An alias is written out wherever it stands, so one with a long name, or a long chain of them, that many
// places point back at would come to far more octets than it was read from.
void TRXTypeCodeReader::boundRepetition(const CORBA_TypeCode& found) {
    constexpr size_t withoutTexts = 32;
    constexpr size_t ordinary = 256;
    _mayRepeat += ordinary;
    for (const CORBA_TypeCode* type = &found; type->_closed && type->_kind == tk_alias && type->_content();
         type = type->_content()) {
        const char* name = type->name();
        _repeated += withoutTexts + std::strlen(type->_id) + (name ? std::strlen(name) : 0);
        if (_repeated > _mayRepeat)
            throw CORBA_MARSHAL();
    }
}

void TRXTypeCodeReader::markOpenFrom(size_t index) {
    for (size_t i = index; i < _open.size(); ++i)
        _open[i]->_cyclic = true;
}

void TRXTypeCodeReader::readFields(CORBA_TypeCode& type, TRXistream& stream, int64_t base) {
    CORBA_String_var name;
    CORBA_ULong number = 0;
    switch (type._kind) {
    case tk_string:
    case tk_wstring:
        stream >> number;
        type.reserve(1);
        type.addNumber(number);
        break;
    case tk_objref:
        readIdentity(type, stream, name);
        type.reserve(1);
        addText(type, name);
        break;
    case tk_struct:
    case tk_except: readMembers(type, stream, base); break;
    case tk_union: readUnion(type, stream, base); break;
    case tk_enum: readEnum(type, stream); break;
    case tk_sequence:
    case tk_array:
        type.reserve(2);
        addType(type, read(stream, base));
        stream >> number;
        type.addNumber(number);
        break;
    case tk_alias:
        readIdentity(type, stream, name);
        type.reserve(2);
        addText(type, name);
        addType(type, read(stream, base));
        break;
    default: break;
    }
}

void TRXTypeCodeReader::readIdentity(CORBA_TypeCode& type, TRXistream& stream, CORBA_String_var& name) {
    CORBA_String_var id;
    stream >> id >> name;
    if (id.in())
        type._id = id._retn();
}

// Text cannot say how much of it is left; what somebody writes by hand has fewer members than this.
CORBA_ULong TRXTypeCodeReader::readCount(TRXistream& stream, CORBA_ULong octetsEach) {
    constexpr CORBA_ULong maxFromText = 1u << 16;
    CORBA_ULong count = 0;
    stream >> count;
    const uint64_t octets = uint64_t{count} * octetsEach;
    const bool fits = stream.stream() ? count <= maxFromText
                                      : octets <= UINT32_MAX && stream.has(static_cast<CORBA_ULong>(octets));
    if (!fits)
        throw CORBA_MARSHAL();
    return count;
}

void TRXTypeCodeReader::addText(CORBA_TypeCode& type, CORBA_String_var& text) {
    auto* param = new CORBA_Any;
    type.add(param);
    char* owned = text._retn();
    param->_adopt(_tc_string, owned, owned ? static_cast<CORBA_Long>(std::strlen(owned) + 1) : 0);
}

void TRXTypeCodeReader::addText(CORBA_TypeCode& type, TRXistream& stream) {
    CORBA_String_var text;
    stream >> text;
    addText(type, text);
}

void TRXTypeCodeReader::addType(CORBA_TypeCode& type, CORBA_TypeCode_var part) {
    auto* param = new CORBA_Any;
    type.add(param);
    param->_adopt(_tc_TypeCode, part._retn(), -1);
}

void TRXTypeCodeReader::readMembers(CORBA_TypeCode& type, TRXistream& stream, int64_t base) {
    CORBA_String_var name;
    readIdentity(type, stream, name);
    const CORBA_ULong count = readCount(stream, 8); // an empty name and a kind
    type.reserve(1 + 2 * uint64_t{count});
    addText(type, name);
    for (CORBA_ULong i = 0; i < count; ++i) {
        addText(type, stream);
        addType(type, read(stream, base));
    }
}

void TRXTypeCodeReader::readEnum(CORBA_TypeCode& type, TRXistream& stream) {
    CORBA_String_var name;
    readIdentity(type, stream, name);
    const CORBA_ULong count = readCount(stream, 4);
    type.reserve(1 + uint64_t{count});
    addText(type, name);
    for (CORBA_ULong i = 0; i < count; ++i)
        addText(type, stream);
}

void TRXTypeCodeReader::readUnion(CORBA_TypeCode& type, TRXistream& stream, int64_t base) {
    CORBA_String_var name;
    readIdentity(type, stream, name);
    CORBA_TypeCode_var discriminator = read(stream, base);
    if (!tcIsDiscriminator(discriminator->_unaliased()->kind()))
        throw CORBA_MARSHAL();
    CORBA_Long defaultIndex = -1;
    stream >> defaultIndex;
    const CORBA_ULong count = readCount(stream, 9); // a label of one octet, an empty name and a kind
    if (defaultIndex < -1 || defaultIndex >= static_cast<int64_t>(count))
        throw CORBA_MARSHAL();
    type._default_index = defaultIndex;
    type.reserve(2 + 3 * uint64_t{count});
    addText(type, name);
    CORBA_TypeCode* labels = discriminator;
    addType(type, std::move(discriminator));
    for (CORBA_ULong i = 0; i < count; ++i) {
        auto* label = new CORBA_Any;
        type.add(label);
        label->read_value(stream, static_cast<int64_t>(i) == defaultIndex ? _tc_octet : labels);
        addText(type, stream);
        addType(type, read(stream, base));
    }
}

namespace {

// The constant for a type without parameters, null for any other.
CORBA_TypeCode* constantOf(CORBA_ULong kind) {
    switch (kind) {
    case tk_null: return _tc_null;
    case tk_void: return _tc_void;
    case tk_short: return _tc_short;
    case tk_long: return _tc_long;
    case tk_ushort: return _tc_ushort;
    case tk_ulong: return _tc_ulong;
    case tk_float: return _tc_float;
    case tk_double: return _tc_double;
    case tk_boolean: return _tc_boolean;
    case tk_char: return _tc_char;
    case tk_octet: return _tc_octet;
    case tk_any: return _tc_any;
    case tk_TypeCode: return _tc_TypeCode;
    case tk_Principal: return _tc_Principal;
    case tk_longlong: return _tc_longlong;
    case tk_ulonglong: return _tc_ulonglong;
    case tk_wchar: return _tc_wchar;
    default: return nullptr;
    }
}

class EncapsulationReader final : public TRXTypeCodeReader {
public:
    CORBA_TypeCode_var read(TRXistream& stream, int64_t base) override;

private:
    CORBA_TypeCode_var readIndirection(TRXistream& stream, int64_t base);
    void remember(int64_t position, CORBA_TypeCode* type);
    void readEncapsulation(CORBA_TypeCode& type, TRXistream& stream, int64_t base);

    std::optional<HashTable<TRXByPosition>> _read;
};

CORBA_TypeCode_var EncapsulationReader::read(TRXistream& stream, int64_t base) {
    const TRXNesting nesting;
    CORBA_ULong kind = 0;
    stream >> kind;
    if (kind == tcIndirection)
        return readIndirection(stream, base);
    // Text has no positions. The contents of an encapsulation count as they would in octets.
    const int64_t behind = base + (stream.stream() ? 4 : stream.position());
    if (CORBA_TypeCode* constant = constantOf(kind)) {
        if (isInside())
            remember(behind - 4, constant);
        return constant;
    }
    CORBA_TypeCode_var type = make(kind);
    remember(behind - 4, type);
    begin(*type);
    if (kind == tk_objref || kind == tk_enum || kind == tk_alias ||
        tcIsConstructed(static_cast<CORBA_TCKind>(kind)))
        readEncapsulation(*type, stream, behind + 4);
    else
        readFields(*type, stream, base);
    end();
    return type;
}

// The writer may have counted from in front of the padding, so a target that is not aligned is moved up.
CORBA_TypeCode_var EncapsulationReader::readIndirection(TRXistream& stream, int64_t base) {
    CORBA_Long offset = 0;
    stream >> offset;
    const int64_t target = (stream.position() + base + offset - 4 + 3) & ~int64_t{3};
    const TRXTypeCodeAt* found = _read ? _read->find(target) : nullptr;
    if (!found)
        throw CORBA_MARSHAL();
    boundRepetition(*found->type);
    return refer(found->type);
}

void EncapsulationReader::remember(int64_t position, CORBA_TypeCode* type) {
    if (!_read)
        _read.emplace(16);
    if (!_read->insert({position, type}).added)
        throw CORBA_BAD_PARAM();
}

void EncapsulationReader::readEncapsulation(CORBA_TypeCode& type, TRXistream& stream, int64_t base) {
    CORBA_OctetSequence copy;
    const unsigned char* octets = nullptr;
    CORBA_ULong length = 0;
    if (auto* buffer = dynamic_cast<CORBA_MarshalInBuffer*>(&stream)) {
        octets = buffer->octets_in_place(length);
    } else {
        stream >> copy;
        octets = copy.buffer();
        length = copy.length();
    }
    CORBA_MarshalInBuffer contents(reinterpret_cast<const char*>(octets), length);
    CORBA_Octet order = 0;
    contents >> order;
    contents.byte_order(order);
    readFields(type, contents, base);
}

class FlatReader final : public TRXTypeCodeReader {
public:
    CORBA_TypeCode_var read(TRXistream& stream, int64_t base) override;

private:
    CORBA_TypeCode_var readIndirection(TRXistream& stream);
};

// A type is remembered before its parts are read, so that they can point back at it.
CORBA_TypeCode_var FlatReader::read(TRXistream& stream, int64_t base) {
    const TRXNesting nesting;
    const CORBA_Long position = stream.position();
    CORBA_ULong kind = 0;
    stream >> kind;
    if (kind == tcIndirection)
        return readIndirection(stream);
    const TRXStreamDepth depth(stream);
    CORBA_TypeCode_var type = make(kind);
    rememberTypeCode(stream, type.in(), position);
    begin(*type);
    readFields(*type, stream, base);
    end();
    return type;
}

CORBA_TypeCode_var FlatReader::readIndirection(TRXistream& stream) {
    const CORBA_Long position = stream.position();
    CORBA_Long offset = 0;
    stream >> offset;
    const int64_t target = int64_t{position} + 4 + offset;
    if (target < 0 || target >= position)
        throw CORBA_MARSHAL();
    CORBA_TypeCode* found = nullptr;
    try {
        found = stream.lookup_typecode(static_cast<CORBA_Long>(target));
    } catch (const CORBA_Exception&) {
        throw CORBA_MARSHAL();
    }
    return refer(found);
}

} // namespace

TRXistream& operator>>(TRXistream& stream, CORBA_TypeCode*& type) {
    type = nullptr;
    if (marshalSettings.backDII)
        type = FlatReader().read(stream, 0)._retn();
    else
        type = EncapsulationReader().read(stream, 0)._retn();
    return stream;
}
