#include "marshal/any/any.h"
#include "marshal/limits.h"
#include "marshal/marshal_settings.h"
#include "marshal/sequence/octet_sequence.h"
#include "marshal/typecode/kinds.h"
#include "marshal/typecode/typecode_access.h"
#include "marshal/typecode/typecode_coder.h"

#include <algorithm>
#include <array>

using namespace harbolance;
using Access = TypeCodeAccess;

CORBA_TypeCode* Access::make(CORBA_ULong kind, CORBA_TypeCode* head) {
    auto* type = new CORBA_TypeCode(CORBA_TypeCode::Raw{}, static_cast<CORBA_TCKind>(kind), false);
    // Until its parameters are read an indirection may refer to the type, but must not make it infinite.
    type->_complete = false;
    if (head) {
        type->_head = head;
        type->_next = std::exchange(head->_next, type);
    }
    return type;
}

void Access::identify(CORBA_TypeCode& type, CORBA_String_var id, CORBA_String_var name) {
    if (id.in())
        type._id = id._retn();
    type._name = name._retn();
}

// Reserves no more than most types need, whatever number a peer claims.
void Access::reserveMembers(CORBA_TypeCode& type, CORBA_ULong count) {
    constexpr CORBA_ULong usual = 16;
    type._members.reserve(std::min(count, usual));
}

void Access::setDefaultIndex(CORBA_TypeCode& type, CORBA_Long index) { type._labels->default_index = index; }

void Access::complete(CORBA_TypeCode& type) {
    // A peer may send many types, and they may live long.
    type._members.shrink_to_fit();
    if (type._labels) {
        type._labels->labels.shrink_to_fit();
        type.orderLabels();
    }
    type._complete = true;
}

namespace {

// Makes a TypeCode from a peer's octets. The parameters after the kind are the same in both modes; nested
// TypeCodes are read differently. All types made are one family, which keeps them alive until the outermost
// is complete.
class Reader {
public:
    Reader() = default;
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    virtual ~Reader() = default;

    // The caller owns the result.
    CORBA_TypeCode* readOutermost(TRXistream& stream) {
        CORBA_TypeCode* type = read(stream, 0);
        // The first type of the family already has the caller's reference; any other result is a constant.
        return type == _family.in() ? _family._retn() : CORBA_TypeCode::_duplicate(type);
    }

protected:
    // `base` is the position of the stream's first octet in the outermost stream. The result is a type of the
    // family, a constant, or a type that the stream has stored.
    virtual CORBA_TypeCode* read(TRXistream& stream, int64_t base) = 0;

    CORBA_TypeCode* begin(CORBA_ULong kind) {
        CORBA_TypeCode* type = Access::make(kind, _family.in());
        if (!_family.in())
            _family = type;
        _open.push_back(type);
        return type;
    }
    void end() {
        Access::complete(*_open.back());
        _open.pop_back();
    }
    bool isInside() const { return !_open.empty(); } // what is read next is a part of a type
    void readFields(CORBA_TypeCode& type, TRXistream& stream, int64_t base);
    CORBA_TypeCode* refer(CORBA_TypeCode* found) const;

private:
    void readIdentity(CORBA_TypeCode& type, TRXistream& stream);
    void readMembers(CORBA_TypeCode& type, TRXistream& stream, int64_t base);
    void readEnumerators(CORBA_TypeCode& type, TRXistream& stream);
    void readUnion(CORBA_TypeCode& type, TRXistream& stream, int64_t base);

    CORBA_TypeCode_var _family;         // the first type that was made
    std::vector<CORBA_TypeCode*> _open; // the types that enclose the one being read
};

bool isRecord(CORBA_TCKind kind) { return kind == tk_struct || kind == tk_union || kind == tk_except; }

// The result of an indirection to `found`. A type with members may contain itself through a sequence, which
// can be empty. Any other cycle would be an infinite type.
CORBA_TypeCode* Reader::refer(CORBA_TypeCode* found) const {
    if (Access::isComplete(*found))
        return found;
    // The types between the target and this place form the cycle.
    const auto from = std::find(_open.begin(), _open.end(), found);
    const auto passes = [&](auto accepts) {
        return std::any_of(from, _open.end(), [&](auto* type) { return accepts(type->kind()); });
    };
    if (!passes([](CORBA_TCKind kind) { return kind == tk_sequence; }) || !passes(isRecord))
        throw CORBA_MARSHAL();
    return found;
}

void Reader::readFields(CORBA_TypeCode& type, TRXistream& stream, int64_t base) {
    CORBA_ULong length = 0;
    switch (type.kind()) {
    case tk_string:
    case tk_wstring:
        stream >> length;
        Access::setLength(type, length);
        break;
    case tk_objref: readIdentity(type, stream); break;
    case tk_struct:
    case tk_except: readMembers(type, stream, base); break;
    case tk_union: readUnion(type, stream, base); break;
    case tk_enum: readEnumerators(type, stream); break;
    case tk_sequence:
    case tk_array:
        Access::setContent(type, read(stream, base));
        stream >> length;
        Access::setLength(type, length);
        break;
    case tk_alias:
        readIdentity(type, stream);
        Access::setContent(type, read(stream, base));
        break;
    default: break;
    }
}

// An empty text uses no memory, because a peer may send any number of them.
CORBA_String_var readText(TRXistream& stream) {
    CORBA_String_var text;
    stream >> text;
    return text.in() && *text.in() == '\0' ? CORBA_String_var() : text;
}

void Reader::readIdentity(CORBA_TypeCode& type, TRXistream& stream) {
    CORBA_String_var id = readText(stream);
    Access::identify(type, std::move(id), readText(stream));
}

// The text form does not know how much is left; types written by hand have fewer members than this limit.
CORBA_ULong readCount(TRXistream& stream, CORBA_ULong octetsEach) {
    constexpr CORBA_ULong maxFromText = 1u << 16;
    CORBA_ULong count = 0;
    stream >> count;
    // Refused before memory is allocated for a count that the octets left cannot contain.
    const uint64_t octets = uint64_t{count} * octetsEach;
    const bool fits = stream.stream() ? count <= maxFromText
                                      : octets <= UINT32_MAX && stream.has(static_cast<CORBA_ULong>(octets));
    if (!fits)
        throw CORBA_MARSHAL();
    return count;
}

void Reader::readMembers(CORBA_TypeCode& type, TRXistream& stream, int64_t base) {
    readIdentity(type, stream);
    const CORBA_ULong count = readCount(stream, 8); // an empty name and a kind
    Access::reserveMembers(type, count);
    for (CORBA_ULong i = 0; i < count; ++i) {
        CORBA_String_var name = readText(stream);
        Access::addMember(type, std::move(name), read(stream, base));
    }
}

void Reader::readEnumerators(CORBA_TypeCode& type, TRXistream& stream) {
    readIdentity(type, stream);
    const CORBA_ULong count = readCount(stream, 4);
    Access::reserveMembers(type, count);
    for (CORBA_ULong i = 0; i < count; ++i)
        Access::addMember(type, readText(stream), nullptr);
}

uint64_t readLabel(TRXistream& stream, CORBA_TCKind kind) {
    uint64_t label = 0;
    forBasicKind(kind, [&]<class T>(std::type_identity<T>) {
        T value{};
        stream >> value;
        label = Access::labelOf(value);
    });
    return label;
}

void Reader::readUnion(CORBA_TypeCode& type, TRXistream& stream, int64_t base) {
    readIdentity(type, stream);
    CORBA_TypeCode* discriminator = read(stream, base);
    const CORBA_TCKind kind = Access::valueKind(*discriminator);
    // An incomplete type, reached by an indirection, is also refused here, because it is none of these kinds.
    if (!isDiscriminator(kind))
        throw CORBA_MARSHAL();
    Access::setContent(type, discriminator);
    CORBA_Long defaultIndex = -1;
    stream >> defaultIndex;
    const CORBA_ULong count = readCount(stream, 9); // a label of one octet, an empty name and a kind
    // Checked, because it is used as an index later.
    if (defaultIndex < -1 || defaultIndex >= static_cast<int64_t>(count))
        throw CORBA_MARSHAL();
    Access::setDefaultIndex(type, defaultIndex);
    Access::reserveMembers(type, count);
    for (CORBA_ULong i = 0; i < count; ++i) {
        // The label of the default is one octet, all others are values of the discriminator.
        const bool isDefault = static_cast<int64_t>(i) == defaultIndex;
        const uint64_t label = readLabel(stream, isDefault ? tk_octet : kind);
        CORBA_String_var name = readText(stream);
        Access::addMember(type, std::move(name), read(stream, base));
        Access::addLabel(type, isDefault ? _tc_octet : discriminator, label);
    }
}

// The constant for a type without parameters; null for any other kind.
CORBA_TypeCode* constantOf(CORBA_ULong kind) {
    static const auto constants = [] {
        std::array<CORBA_TypeCode*, kindCount> byKind{};
        for (CORBA_TypeCode* type : {_tc_null, _tc_void, _tc_short, _tc_long, _tc_ushort, _tc_ulong,
                                     _tc_float, _tc_double, _tc_boolean, _tc_char, _tc_octet, _tc_any,
                                     _tc_TypeCode, _tc_Principal, _tc_longlong, _tc_ulonglong, _tc_wchar})
            byKind[type->kind()] = type;
        return byKind;
    }();
    // A peer may send any number as kind.
    return kind < kindCount ? constants[kind] : nullptr;
}

class EncapsulationReader final : public Reader {
private:
    CORBA_TypeCode* read(TRXistream& stream, int64_t base) override;
    CORBA_TypeCode* readIndirection(TRXistream& stream, int64_t base);
    void payForAliases(const CORBA_TypeCode& found);
    void remember(int64_t position, CORBA_TypeCode* type);
    void readEncapsulation(CORBA_TypeCode& type, TRXistream& stream, int64_t base);

    struct TypeAt {
        int64_t position;
        CORBA_TypeCode* type;
    };
    std::vector<TypeAt> _read;      // in the order of their positions
    size_t _aliasOctets = 1u << 16; // that indirections may still stand for; limits payForAliases
};

CORBA_TypeCode* EncapsulationReader::read(TRXistream& stream, int64_t base) {
    const ReadNesting nesting;
    CORBA_ULong kind = 0;
    stream >> kind;
    if (kind == indirection)
        return readIndirection(stream, base);
    // Text has no positions. The contents of an encapsulation have the positions that they would have in
    // octets.
    const int64_t behind = base + (stream.stream() ? 4 : stream.position());
    if (CORBA_TypeCode* constant = constantOf(kind)) {
        // An outermost constant is not stored, because nothing follows that could refer to it.
        if (isInside())
            remember(behind - 4, constant);
        return constant;
    }
    CORBA_TypeCode* type = begin(kind);
    // Stored before the parameters are read, which may refer to it.
    remember(behind - 4, type);
    if (isEncapsulated(type->kind()))
        readEncapsulation(*type, stream, behind + 4);
    else
        readFields(*type, stream, base);
    end();
    return type;
}

// The writer may have counted from before the padding, so an unaligned target is rounded up.
CORBA_TypeCode* EncapsulationReader::readIndirection(TRXistream& stream, int64_t base) {
    CORBA_Long offset = 0;
    stream >> offset;
    const int64_t target = (stream.position() + base + offset - 4 + 3) & ~int64_t{3};
    const auto found = std::ranges::lower_bound(_read, target, {}, &TypeAt::position);
    // The target must be the start of a type; any other offset would be read as another type.
    if (found == _read.end() || found->position != target)
        throw CORBA_MARSHAL();
    payForAliases(*found->type);
    return refer(found->type);
}

// When it is written again, an alias is not a target of indirections but is written at each place. An alias
// with a long name, or a long chain of aliases, that many places refer to would then take far more octets
// than it was read from.
void EncapsulationReader::payForAliases(const CORBA_TypeCode& found) {
    constexpr size_t ordinary = 256;
    constexpr size_t withoutTexts = 32;
    _aliasOctets += ordinary;
    const CORBA_TypeCode* type = &found;
    while (Access::isComplete(*type) && type->kind() == tk_alias) {
        const char* name = Access::name(*type);
        const size_t octets = withoutTexts + std::strlen(Access::id(*type)) + (name ? std::strlen(name) : 0);
        if (octets > _aliasOctets)
            throw CORBA_MARSHAL();
        _aliasOctets -= octets;
        type = Access::content(*type);
    }
}

void EncapsulationReader::remember(int64_t position, CORBA_TypeCode* type) {
    // Positions grow as the stream is read, so the list stays ordered for the search.
    if (!_read.empty() && _read.back().position >= position)
        throw CORBA_BAD_PARAM();
    _read.push_back({position, type});
}

void EncapsulationReader::readEncapsulation(CORBA_TypeCode& type, TRXistream& stream, int64_t base) {
    CORBA_OctetSequence copy;
    const unsigned char* octets = nullptr;
    CORBA_ULong length = 0;
    if (CORBA_MarshalInBuffer* buffer = stream.buffer()) {
        // Not copied: the octets are in the message, which outlives this call.
        octets = buffer->octets_in_place(length);
    } else {
        stream >> copy;
        octets = copy.buffer();
        length = copy.length();
    }
    CORBA_MarshalInBuffer contents(reinterpret_cast<const char*>(octets), length);
    CORBA_Octet order = 0;
    // An empty encapsulation raises here.
    contents >> order;
    contents.byte_order(order);
    readFields(type, contents, base);
}

class FlatReader final : public Reader {
private:
    CORBA_TypeCode* read(TRXistream& stream, int64_t base) override;
    CORBA_TypeCode* readIndirection(TRXistream& stream);
};

// A type is stored before its parts are read, so that they can refer to it.
CORBA_TypeCode* FlatReader::read(TRXistream& stream, int64_t base) {
    const ReadNesting nesting;
    const CORBA_Long position = stream.position();
    CORBA_ULong kind = 0;
    stream >> kind;
    if (kind == indirection)
        return readIndirection(stream);
    const StreamDepth depth(stream);
    // Not a constant, even for a basic kind: the stream's table accepts an object only once.
    CORBA_TypeCode* type = begin(kind);
    rememberTypeCode(stream, type, position);
    readFields(*type, stream, base);
    end();
    return type;
}

CORBA_TypeCode* FlatReader::readIndirection(TRXistream& stream) {
    const CORBA_Long position = stream.position();
    CORBA_Long offset = 0;
    stream >> offset;
    const int64_t target = int64_t{position} + 4 + offset;
    // Only backward references are valid: what follows has not been read yet.
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
        type = FlatReader().readOutermost(stream);
    else
        type = EncapsulationReader().readOutermost(stream);
    return stream;
}
