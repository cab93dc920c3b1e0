#include "base/hash_table.h"
#include "marshal/cdr/vbuf.h"
#include "marshal/limits.h"
#include "marshal/marshal_settings.h"
#include "marshal/text/print_line.h"
#include "marshal/typecode/kinds.h"
#include "marshal/typecode/typecode_access.h"
#include "marshal/typecode/typecode_coder.h"
#include "marshal/typecode/typecode_compare.h"

#include <algorithm>
#include <optional>

using namespace harbolance;
using Access = TypeCodeAccess;

namespace {

// The parameters after the kind of a TypeCode are the same in both modes; nested TypeCodes are written
// differently.
class Writer {
public:
    Writer() = default;
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    virtual ~Writer() = default;

    virtual void write(const CORBA_TypeCode* type, TRXostream& stream) = 0;

protected:
    void writeFields(const CORBA_TypeCode& type, TRXostream& stream);

private:
    void writeMembers(const CORBA_TypeCode& type, TRXostream& stream);
    void writeUnion(const CORBA_TypeCode& type, TRXostream& stream);
};

void writeIdentity(const CORBA_TypeCode& type, TRXostream& stream) {
    stream << Access::id(type) << Access::name(type);
}

void Writer::writeFields(const CORBA_TypeCode& type, TRXostream& stream) {
    switch (type.kind()) {
    case tk_string:
    case tk_wstring: stream << Access::length(type); break;
    case tk_objref: writeIdentity(type, stream); break;
    case tk_struct:
    case tk_except:
    case tk_enum: writeMembers(type, stream); break;
    case tk_union: writeUnion(type, stream); break;
    case tk_sequence:
    case tk_array:
        write(Access::content(type), stream);
        stream << Access::length(type);
        break;
    case tk_alias:
        writeIdentity(type, stream);
        write(Access::content(type), stream);
        break;
    default: break;
    }
}

void Writer::writeMembers(const CORBA_TypeCode& type, TRXostream& stream) {
    writeIdentity(type, stream);
    const CORBA_ULong count = Access::memberCount(type);
    stream << count;
    for (CORBA_ULong i = 0; i < count; ++i) {
        stream << Access::memberName(type, i);
        if (type.kind() != tk_enum)
            write(Access::memberType(type, i), stream);
    }
}

void writeLabel(TRXostream& stream, CORBA_TCKind kind, uint64_t label) {
    forBasicKind(kind, [&]<class T>(std::type_identity<T>) {
        T value;
        std::memcpy(&value, &label, sizeof value);
        stream << value;
    });
}

void Writer::writeUnion(const CORBA_TypeCode& type, TRXostream& stream) {
    writeIdentity(type, stream);
    write(&Access::discriminator(type), stream);
    const CORBA_ULong count = Access::memberCount(type);
    stream << Access::defaultIndex(type) << count;
    for (CORBA_ULong i = 0; i < count; ++i) {
        writeLabel(stream, Access::valueKind(*Access::labelType(type, i)), Access::label(type, i));
        stream << Access::memberName(type, i);
        write(Access::memberType(type, i), stream);
    }
}

bool isRemembered(CORBA_TCKind kind) {
    // The list of the protocol. Basic kinds are shorter than an indirection, and an alias is never a target.
    return (kind >= tk_any && kind <= tk_array) || kind == tk_except || kind == tk_longdouble ||
           kind > tk_wchar;
}

// The types already written, with their positions. The same object is always found. An equal one is searched
// among the last few types with the same outline, until comparisons without success have cost too much. A
// type that is not found is written again, which is longer but correct.
class WrittenTypes {
public:
    // A hash of the outer levels: equal for equal types, different for most others, and cheap to compute.
    static uint64_t outline(const CORBA_TypeCode& type);
    // The position of the type, or of one that equals it; -1 if there is none.
    int64_t find(const CORBA_TypeCode& type) const;
    int64_t findEqual(const CORBA_TypeCode& type, uint64_t outline);
    void add(const CORBA_TypeCode& type, uint64_t outline, int64_t position);

private:
    static constexpr uint32_t none = UINT32_MAX;
    static constexpr int candidates = 16;
    static constexpr uint64_t maxWasted = 1u << 16;

    struct Written {
        const CORBA_TypeCode* type;
        int64_t position;
        uint32_t older; // the previous type with the same outline
    };
    template <class Key>
    struct Place {
        Key key{};
        uint32_t index = none;
    };
    template <class Key>
    struct Traits : GrowAtNineTenths {
        using Entry = Place<Key>;
        static bool isFree(const Entry& entry) { return entry.index == none; }
        static uint32_t hash(const Entry& entry) { return hash(entry.key); }
        static uint32_t hash(const void* key) { return pointerHash(key); }
        static uint32_t hash(uint64_t key) { return static_cast<uint32_t>(key >> 32); }
        static bool equal(const Entry& stored, const Entry& entry) { return stored.key == entry.key; }
        static bool equal(const Entry& stored, const Key& key) { return stored.key == key; }
    };

    std::vector<Written> _written;
    HashTable<Traits<const void*>> _byObject{4};
    HashTable<Traits<uint64_t>> _byOutline{4};
    TypeComparison _comparison{true};
};

// A peer chooses names and bounds, but without the key it cannot construct colliding outlines.
uint64_t WrittenTypes::outline(const CORBA_TypeCode& type) {
    constexpr int levels = 8;
    uint64_t outline = 0;
    const CORBA_TypeCode* next = &type;
    for (int level = 0; next && level < levels; ++level) {
        next = &Access::unaliased(*next);
        const uint64_t numbers = uint64_t{Access::memberCount(*next)} << 32 | Access::length(*next);
        outline = (outline ^ next->kind()) * 0x9E3779B97F4A7C15u + numbers;
        // The name distinguishes types better than anything below it, so the loop ends there.
        if (isNamed(next->kind()))
            return mixFingerprint(outline, stringFingerprint(Access::name(*next) ? Access::name(*next) : ""));
        next = Access::content(*next);
    }
    return mixFingerprint(outline, 0);
}

int64_t WrittenTypes::find(const CORBA_TypeCode& type) const {
    const auto* found = _byObject.find(&type);
    return found ? _written[found->index].position : -1;
}

int64_t WrittenTypes::findEqual(const CORBA_TypeCode& type, uint64_t outline) {
    const auto* newest = _byOutline.find(outline);
    uint32_t index = newest ? newest->index : none;
    for (int i = 0; i < candidates && index != none && _comparison.wasted() < maxWasted; ++i) {
        if (_comparison.compare(_written[index].type, &type) == 0) {
            // So that this object is found at once the next time.
            _byObject.insert({&type, index});
            return _written[index].position;
        }
        index = _written[index].older;
    }
    return -1;
}

void WrittenTypes::add(const CORBA_TypeCode& type, uint64_t outline, int64_t position) {
    const auto index = static_cast<uint32_t>(_written.size());
    _byObject.insert({&type, index});
    // The table has the newest type with an outline; each entry refers to the previous one.
    const auto [newest, added] = _byOutline.insert({outline, index});
    _written.push_back({&type, position, added ? none : std::exchange(newest->index, index)});
}

// Each TypeCode with parameters is an encapsulation, and a type equal to an earlier one is written as an
// indirection with the distance to it.
class EncapsulatingWriter final : public Writer {
public:
    void write(const CORBA_TypeCode* type, TRXostream& stream) override;

private:
    bool writeIndirection(const CORBA_TypeCode& type, TRXostream& stream, int64_t start);
    void encapsulate(const CORBA_TypeCode& type, TRXostream& stream);
    void encapsulate(const CORBA_TypeCode& type, CORBA_MarshalOutBuffer& buffer);
    void refuseEndless(const CORBA_TypeCode& type, const CORBA_MarshalOutBuffer& buffer) const;

    int64_t _base = 0;                    // the position of the buffer's first octet
    std::optional<WrittenTypes> _written; // most types are written without them
    // Used without indirections: the enclosing types, and the position of the outermost one.
    std::vector<const CORBA_TypeCode*> _open;
    CORBA_ULong _first = 0;
};

void EncapsulatingWriter::write(const CORBA_TypeCode* type, TRXostream& stream) {
    // A missing type, such as the content of an unresolved recursive sequence, is written as the null type.
    if (!type)
        type = _tc_null;
    const OwnNesting nesting;
    // Text has no positions: the outermost type counts from 0.
    const int64_t start = stream.stream() ? 0 : _base + stream.position();
    if (marshalSettings.tcIndirection && writeIndirection(*type, stream, start))
        return;
    stream << static_cast<CORBA_ULong>(type->kind());
    if (isEncapsulated(type->kind()))
        encapsulate(*type, stream);
    else
        writeFields(*type, stream);
}

// An alias is never stored, but its original type may be.
bool EncapsulatingWriter::writeIndirection(const CORBA_TypeCode& type, TRXostream& stream, int64_t start) {
    const CORBA_TypeCode& resolved = Access::unaliased(type);
    if (!isRemembered(resolved.kind()))
        return false;
    if (!_written)
        _written.emplace();
    int64_t position = _written->find(resolved);
    if (position < 0) {
        const uint64_t outline = WrittenTypes::outline(resolved);
        position = _written->findEqual(resolved, outline);
        // Not for an alias: its octets must not be the target for its original type.
        if (position < 0 && &resolved == &type)
            _written->add(type, outline, start);
    }
    if (position < 0)
        return false;
    stream << indirection;
    // Counted backwards from the offset word to the start of the target. The stream is aligned after the
    // preceding word, so its position is that of the offset.
    stream << static_cast<CORBA_Long>(position - stream.position() - _base);
    return true;
}

void EncapsulatingWriter::encapsulate(const CORBA_TypeCode& type, TRXostream& stream) {
    if (stream.buffer()) {
        encapsulate(type, *stream.buffer());
        return;
    }
    char small[256]; // large enough for most types
    CORBA_MarshalOutBuffer contents(small, sizeof small, 0);
    // Positions count as in octets, where 4 octets of the kind come first.
    _base = 4;
    encapsulate(type, contents);
    // The length is written as text and is not part of the octets.
    const CORBA_ULong length = contents.offset() - 4;
    stream << length;
    stream.write(reinterpret_cast<const unsigned char*>(contents.data() + 4), length);
}

// Scope for octets in a buffer that follow their length word; their alignment counts from the first of them.
class Encapsulation {
public:
    explicit Encapsulation(CORBA_MarshalOutBuffer& buffer) : _buffer(buffer) {
        buffer << CORBA_ULong{0};
        _begin = buffer.offset();
        _align = buffer.align();
        // Positions go on counting; only alignment starts again.
        buffer.reset_align();
        buffer << hostByteOrder;
    }
    Encapsulation(const Encapsulation&) = delete;
    Encapsulation& operator=(const Encapsulation&) = delete;
    ~Encapsulation() {
        const CORBA_ULong length = _buffer.offset() - _begin;
        std::memcpy(_buffer.data() + _begin - sizeof length, &length, sizeof length);
        _buffer.align(_align + length);
    }

private:
    CORBA_MarshalOutBuffer& _buffer;
    CORBA_ULong _begin;
    CORBA_ULong _align;
};

void EncapsulatingWriter::encapsulate(const CORBA_TypeCode& type, CORBA_MarshalOutBuffer& buffer) {
    // Written in place; the destructor stores the length.
    const Encapsulation encapsulation(buffer);
    // With indirections a recursive type needs no test, because it ends by itself.
    if (marshalSettings.tcIndirection) {
        writeFields(type, buffer);
        return;
    }
    if (_open.empty())
        _first = buffer.offset();
    refuseEndless(type, buffer);
    _open.push_back(&type);
    writeFields(type, buffer);
    _open.pop_back();
}

// Refuses types that are used twice on every level, whose size grows exponentially.
void EncapsulatingWriter::refuseEndless(const CORBA_TypeCode& type,
                                        const CORBA_MarshalOutBuffer& buffer) const {
    constexpr CORBA_ULong maxOctets = 1u << 24;
    if (buffer.offset() - _first > maxOctets || std::find(_open.begin(), _open.end(), &type) != _open.end())
        throw CORBA_MARSHAL();
}

// All parameters are in the same stream, which stores the positions of TypeCodes.
class FlatWriter final : public Writer {
public:
    void write(const CORBA_TypeCode* type, TRXostream& stream) override;

private:
    static bool writeIndirection(const CORBA_TypeCode& type, TRXostream& stream);
};

void FlatWriter::write(const CORBA_TypeCode* type, TRXostream& stream) {
    if (!type)
        type = _tc_null;
    if (writeIndirection(*type, stream))
        return;
    const OwnNesting nesting;
    const StreamDepth depth(stream);
    // Stored before its parameters, so that these can refer to it. The cast is for the reference count only.
    rememberTypeCode(stream, const_cast<CORBA_TypeCode*>(type));
    stream << static_cast<CORBA_ULong>(type->kind());
    writeFields(*type, stream);
}

bool FlatWriter::writeIndirection(const CORBA_TypeCode& type, TRXostream& stream) {
    // No TypeCodes are stored outside an outermost type.
    if (stream.depth() == 0)
        return false;
    CORBA_Long position = 0;
    try {
        position = stream.lookup_typecode(&type);
    } catch (const CORBA_OBJECT_NOT_EXIST&) {
        return false;
    }
    stream << indirection;
    // In this mode offsets count from the octet after the offset.
    stream << position - stream.position() - 4;
    return true;
}

} // namespace

TRXostream& operator<<(TRXostream& stream, CORBA_TypeCode* type) {
    if (marshalSettings.backDII)
        FlatWriter().write(type, stream);
    else
        EncapsulatingWriter().write(type, stream);
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
