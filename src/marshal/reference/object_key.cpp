#include "base/printable.h"
#include "marshal/cdr/encapsulation.h"
#include "marshal/reference/vutil.h"

#include <cstring>
#include <optional>
#include <ostream>

using namespace harbolance;

namespace {

constexpr char magic[] = {'Q', 'M', 'C'};
constexpr CORBA_ULong smallestKey = 12; // order octet, magic, kind and the smallest body

// The constructor reads the part before the body, of a key that `TRXUtil::is_key` accepts.
class KeyReader : public TRXEncapsulationReader {
public:
    explicit KeyReader(const CORBA_OctetSequence& key) : TRXEncapsulationReader(key) {
        // The magic has been checked by `is_key`.
        char passed[sizeof magic];
        read_raw(passed, sizeof passed);
        *this >> _kind;
    }
    CORBA_ULong kind() const { return _kind; }

private:
    CORBA_ULong _kind = 0;
};

std::optional<CORBA_ULong> kindOf(const CORBA_OctetSequence& key) {
    if (!TRXUtil::is_key(key))
        return std::nullopt;
    return KeyReader(key).kind();
}

void printServiceKey(std::ostream& stream, const TRXServiceId& id) {
    stream << "SerName: " << printable(id.service_name())
           << ", SerID: " << printable(id.service_id().octets());
}

void printRepositoryId(std::ostream& stream, const TRXObjectId& id) {
    stream << "RepID: ";
    // A key of the kind ID_KEY has no repository id, so nothing is printed after it.
    if (id.type() == TRXObjectId::ID_TRANSIENT)
        stream << printable(static_cast<const TRXTransientId&>(id).rep_id());
    if (id.type() != TRXObjectId::ID_PERSISTENT)
        return;
    const auto& named = static_cast<const TRXPersistentId&>(id);
    // Keys come from peers, so control characters must not reach the terminal.
    stream << printable(named.rep_id());
    const std::string name = printable(named.object_name());
    if (!name.empty())
        stream << ", ObjName: " << name;
}

} // namespace

bool TRXUtil::is_key(const CORBA_OctetSequence& key) {
    return key.length() >= smallestKey && std::memcmp(key.buffer() + 1, magic, sizeof magic) == 0;
}

TRXObjectId* TRXUtil::id_from_key(const CORBA_OctetSequence& key) {
    if (!is_key(key))
        return nullptr;
    // From here on a truncated key raises CORBA_MARSHAL.
    KeyReader reader(key);
    switch (reader.kind()) {
    case TRXObjectId::ID_PERSISTENT: return new TRXPersistentId(reader);
    case TRXObjectId::ID_TRANSIENT: return new TRXTransientId(reader);
    case TRXObjectId::ID_KEY: return new TRXKeyId(reader);
    case TRXObjectId::ID_SERVICE: return new TRXServiceId(reader);
    default: return nullptr;
    }
}

CORBA_OctetSequence* TRXUtil::key_from_id(const TRXObjectId& id) {
    TRXEncapsulationWriter writer;
    writer.write_raw(magic, sizeof magic);
    writer << static_cast<CORBA_ULong>(id.type());
    id.write(writer);
    return new CORBA_OctetSequence(writer.octets());
}

bool TRXUtil::is_persistent(const CORBA_OctetSequence& key) {
    return kindOf(key) == TRXObjectId::ID_PERSISTENT;
}

bool TRXUtil::is_service(const CORBA_OctetSequence& key) { return kindOf(key) == TRXObjectId::ID_SERVICE; }

bool TRXUtil::is_key_or_service(const CORBA_OctetSequence& key) {
    return kindOf(key) == TRXObjectId::ID_KEY || is_service(key);
}

void TRXUtil::print_key(std::ostream& stream, const CORBA_OctetSequence& key) {
    const TRXRef<TRXObjectId> id(id_from_key(key));
    if (!id)
        stream << "Not a Tarnwick Object Key";
    else if (id->type() == TRXObjectId::ID_SERVICE)
        printServiceKey(stream, static_cast<const TRXServiceId&>(*id));
    else
        printRepositoryId(stream, *id);
}
