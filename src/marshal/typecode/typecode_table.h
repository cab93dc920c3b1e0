#pragma once

#include "base/hash_table.h"
#include "base/string_hash.h"
#include "marshal/types.h"

class CORBA_TypeCode;

namespace harbolance {

// The TypeCodes that a stream has stored, so that a flat TypeCode can refer to an earlier one and a dump can
// detect that a type occurs again.
class StreamTypeCodes {
public:
    using Cleanup = void (*)(CORBA_TypeCode*);

    StreamTypeCodes() = default;
    StreamTypeCodes(const StreamTypeCodes&) = delete;
    StreamTypeCodes& operator=(const StreamTypeCodes&) = delete;
    ~StreamTypeCodes() { reset(); }

    // Raises CORBA_BAD_PARAM, and changes nothing, when the position or the object is already stored.
    void store(CORBA_Long position, CORBA_TypeCode* object);
    // Both raise CORBA_OBJECT_NOT_EXIST for what is not stored.
    CORBA_Long positionOf(const CORBA_TypeCode* object) const;
    CORBA_TypeCode* objectAt(CORBA_Long position) const;
    // Forgets all entries. The cleanup function is called for each and takes over the reference given by the
    // code that stored it.
    void reset();

    CORBA_Long stored = 0; // since the last reset
    CORBA_Long depth = 0;
    Cleanup cleanup = nullptr;

private:
    struct TypeAt {
        CORBA_Long position = 0;
        CORBA_TypeCode* type = nullptr;
    };
    // The peer chooses the positions; the keyed fingerprint prevents it from constructing collisions.
    struct ByPosition : GrowAtNineTenths {
        using Entry = TypeAt;
        static bool isFree(const Entry& entry) { return !entry.type; }
        static uint32_t hash(const Entry& entry) { return hash(entry.position); }
        static uint32_t hash(CORBA_Long position) { return static_cast<uint32_t>(position); }
        static uint64_t fingerprint(const Entry& entry) { return fingerprint(entry.position); }
        static uint64_t fingerprint(CORBA_Long position) {
            return mixFingerprint(0, static_cast<uint64_t>(position));
        }
        static bool equal(const Entry& stored, const Entry& entry) {
            return stored.position == entry.position;
        }
        static bool equal(const Entry& stored, CORBA_Long position) { return stored.position == position; }
    };
    struct ByObject : GrowAtNineTenths {
        using Entry = TypeAt;
        static bool isFree(const Entry& entry) { return !entry.type; }
        static uint32_t hash(const Entry& entry) { return pointerHash(entry.type); }
        static uint32_t hash(const CORBA_TypeCode* type) { return pointerHash(type); }
        static bool equal(const Entry& stored, const Entry& entry) { return stored.type == entry.type; }
        static bool equal(const Entry& stored, const CORBA_TypeCode* type) { return stored.type == type; }
    };

    HashTable<ByPosition> _objects{16};
    HashTable<ByObject> _positions{16};
};

} // namespace harbolance
