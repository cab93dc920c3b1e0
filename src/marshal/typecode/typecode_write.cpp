#include "base/hash_table.h"
#include "marshal/any/any.h"
#include "marshal/cdr/nesting.h"
#include "marshal/marshal_settings.h"
#include "marshal/text/print_form.h"
#include "marshal/typecode/typecode.h"
#include "marshal/typecode/typecode_coder.h"

#include <algorithm>
#include <optional>
#include <vector>

using namespace harbolance;

namespace {

// What follows the kind of a TypeCode is the same in both modes; how a TypeCode inside a TypeCode is written
// is not.
class Writer {
public:
    Writer() = default;
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    virtual ~Writer() = default;

    // `base` is the position of the stream's first octet in the outermost stream.
    virtual void write(const CORBA_TypeCode* type, TRXostream& stream, int64_t base) = 0;

protected:
    void writeFields(const CORBA_TypeCode& type, TRXostream& stream, int64_t base);

private:
    void writeMembers(const CORBA_TypeCode& type, TRXostream& stream, int64_t base);
    void writeUnion(const CORBA_TypeCode& type, TRXostream& stream, int64_t base);
};

void writeName(const CORBA_TypeCode& type, TRXostream& stream) { stream << type._plain_id() << type.name(); }

void Writer::writeFields(const CORBA_TypeCode& type, TRXostream& stream, int64_t base) {
    switch (type.kind()) {
    case tk_string:
    case tk_wstring: stream << type.length(); break;
    case tk_objref: writeName(type, stream); break;
    case tk_struct:
    case tk_except: writeMembers(type, stream, base); break;
    case tk_union: writeUnion(type, stream, base); break;
    case tk_enum:
        writeName(type, stream);
        stream << type._members();
        for (CORBA_ULong i = 0; i < type._members(); ++i)
            stream << type.member_name(i);
        break;
    case tk_sequence:
    case tk_array:
        write(type._content(), stream, base);
        stream << type.length();
        break;
    case tk_alias:
        writeName(type, stream);
        write(type._content(), stream, base);
        break;
    default: break;
    }
}

void Writer::writeMembers(const CORBA_TypeCode& type, TRXostream& stream, int64_t base) {
    writeName(type, stream);
    stream << type._members();
    for (CORBA_ULong i = 0; i < type._members(); ++i) {
        stream << type.member_name(i);
        write(type._member(i), stream, base);
    }
}

void Writer::writeUnion(const CORBA_TypeCode& type, TRXostream& stream, int64_t base) {
    writeName(type, stream);
    write(type._discriminator(), stream, base);
    stream << type.default_index() << type._members();
    for (CORBA_ULong i = 0; i < type._members(); ++i) {
        type._parameter(2 + 3 * i).write_value(stream);
        stream << type.member_name(i);
        write(type._member(i), stream, base);
    }
}

struct Written {
    const CORBA_TypeCode* type = nullptr;
    int64_t position = 0;
};

struct WrittenTraits : GrowAtNineTenths {
    using Entry = Written;
    static bool isFree(const Written& written) { return !written.type; }
    static uint32_t hash(const Written& written) { return hash(written.type); }
    static uint32_t hash(const CORBA_TypeCode* type) { return static_cast<uint32_t>(fingerprint(type)); }
    static uint64_t fingerprint(const Written& written) { return fingerprint(written.type); }
    static uint64_t fingerprint(const CORBA_TypeCode* type) { return type->_shape_hash(); }
    static bool equal(const Written& stored, const Written& written) { return equal(stored, written.type); }
    static bool equal(const Written& stored, const CORBA_TypeCode* type) {
        return stored.type->_shape_hash() == type->_shape_hash() &&
               CORBA_TypeCode::compare(stored.type, type) == 0;
    }
};

// Each TypeCode with parameters is a sequence of octets of its own, and a later one that equals an earlier
// one is written as the distance to it.
class EncapsulatingWriter final : public Writer {
public:
    void write(const CORBA_TypeCode* type, TRXostream& stream, int64_t base) override;

private:
    // Beyond this a type that is written without indirections is refused: types that are used twice on every
    // level grow by the power.
    static constexpr CORBA_ULong maxTypes = 1u << 16;
    static constexpr CORBA_ULong maxOctets = 1u << 24;

    bool writeIndirection(const CORBA_TypeCode& type, TRXostream& stream, int64_t base);
    void refuseEndless(const CORBA_TypeCode& type);
    void encapsulate(const CORBA_TypeCode& type, TRXostream& stream, int64_t base);

    std::optional<HashTable<WrittenTraits>> _written; // most types are written without one
    std::vector<const CORBA_TypeCode*> _open;         // without indirections: the types around this one
    CORBA_ULong _count = 0;
};

bool isRemembered(CORBA_TCKind kind) {
    return (kind >= tk_any && kind <= tk_array) || kind == tk_except || kind == tk_longdouble ||
           kind > tk_wchar;
}

bool isEncapsulated(CORBA_TCKind kind) {
    return kind == tk_objref || kind == tk_enum || kind == tk_alias || tcIsConstructed(kind);
}

void EncapsulatingWriter::write(const CORBA_TypeCode* type, TRXostream& stream, int64_t base) {
    if (!type)
        type = _tc_null;
    const TRXNesting nesting;
    if (writeIndirection(*type, stream, base))
        return;
    // Text has no positions. The contents of an encapsulation count as they would in octets.
    const bool text = stream.stream() != nullptr;
    const int64_t start = base + (text ? 0 : stream.position());
    stream << static_cast<CORBA_ULong>(type->kind());
    if (!marshalSettings.tcIndirection) {
        refuseEndless(*type);
    } else if (isRemembered(type->kind())) {
        if (!_written)
            _written.emplace(16);
        _written->insert({type, start});
    }
    if (isEncapsulated(type->kind())) {
        _open.push_back(type);
        encapsulate(*type, stream, base + (text ? 4 : stream.position()) + 4);
        _open.pop_back();
    } else {
        writeFields(*type, stream, base);
    }
}

bool EncapsulatingWriter::writeIndirection(const CORBA_TypeCode& type, TRXostream& stream, int64_t base) {
    const CORBA_TypeCode* resolved = type._unaliased();
    if (!_written || !isRemembered(resolved->kind()))
        return false;
    const Written* found = _written->find(resolved);
    if (!found)
        return false;
    stream << tcIndirection;
    stream << static_cast<CORBA_Long>(found->position - stream.position() - base);
    return true;
}

void EncapsulatingWriter::refuseEndless(const CORBA_TypeCode& type) {
    if (++_count > maxTypes || std::find(_open.begin(), _open.end(), &type) != _open.end())
        throw CORBA_MARSHAL();
}

void EncapsulatingWriter::encapsulate(const CORBA_TypeCode& type, TRXostream& stream, int64_t base) {
    char small[256]; // what most types fit into
    CORBA_MarshalOutBuffer contents(small, sizeof small, 0);
    contents << hostByteOrder;
    writeFields(type, contents, base);
    if (!marshalSettings.tcIndirection && contents.offset() > maxOctets)
        throw CORBA_MARSHAL();
    stream << contents.offset();
    stream.write(reinterpret_cast<const unsigned char*>(contents.data()), contents.offset());
}

// All fields stand in the one stream, which remembers where TypeCodes began.
class FlatWriter final : public Writer {
public:
    void write(const CORBA_TypeCode* type, TRXostream& stream, int64_t base) override;

private:
    static bool writeIndirection(const CORBA_TypeCode& type, TRXostream& stream);
};

void FlatWriter::write(const CORBA_TypeCode* type, TRXostream& stream, int64_t base) {
    if (!type)
        type = _tc_null;
    if (writeIndirection(*type, stream))
        return;
    const TRXNesting nesting;
    const TRXStreamDepth depth(stream);
    rememberTypeCode(stream, const_cast<CORBA_TypeCode*>(type));
    stream << static_cast<CORBA_ULong>(type->kind());
    writeFields(*type, stream, base);
}

bool FlatWriter::writeIndirection(const CORBA_TypeCode& type, TRXostream& stream) {
    if (stream.depth() == 0)
        return false;
    CORBA_Long position = 0;
    try {
        position = stream.lookup_typecode(&type);
    } catch (const CORBA_OBJECT_NOT_EXIST&) {
        return false;
    }
    stream << tcIndirection;
    stream << position - stream.position() - 4;
    return true;
}

} // namespace

TRXostream& operator<<(TRXostream& stream, CORBA_TypeCode* type) {
    if (marshalSettings.backDII)
        FlatWriter().write(type, stream, 0);
    else
        EncapsulatingWriter().write(type, stream, 0);
    return stream;
}

std::ostream& operator<<(std::ostream& stream, CORBA_TypeCode* type) {
    TRXostream text(stream);
    if (isConsole(stream))
        CORBA_TypeCode::dump(text, type);
    else
        text << type;
    return stream;
}
