// The input is the octets of an object key.

#include "fuzzing.h"

#include "marshal/reference/vutil.h"

#include <sstream>

namespace {

// Null for what cannot be read.
TRXRef<TRXObjectId> read(const CORBA_OctetSequence& key) {
    try {
        return TRXRef<TRXObjectId>(TRXUtil::id_from_key(key));
    } catch (const CORBA_MARSHAL&) {
        require(TRXUtil::is_key(key), "only what bears the magic is read further");
        inputRefused = true;
        return {};
    }
}

void print(const CORBA_OctetSequence& key) {
    std::ostringstream line;
    try {
        TRXUtil::print_key(line, key);
    } catch (const CORBA_MARSHAL&) {
    }
    for (char c : line.str())
        require(c >= ' ' && c <= '~', "a printed key has no control characters");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const CORBA_OctetSequence key(std::span<const CORBA_Octet>(data, size));
    print(key);
    const TRXRef<TRXObjectId> id = read(key);
    if (!id)
        return 0;
    require(TRXUtil::is_persistent(key) == (id->type() == TRXObjectId::ID_PERSISTENT), "persistent");
    require(TRXUtil::is_service(key) == (id->type() == TRXObjectId::ID_SERVICE), "service");
    const CORBA_OctetSequence_var first = TRXUtil::key_from_id(*id);
    const TRXRef<TRXObjectId> again = read(*first);
    require(again && again->type() == id->type(), "a key that was read and written can be read");
    const CORBA_OctetSequence_var second = TRXUtil::key_from_id(*again);
    require(*first == *second, "reading a key keeps every field");
    return 0;
}
