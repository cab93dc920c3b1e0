#pragma once

#include "base/hash_table.h"
#include "base/string_hash.h"
#include "marshal/types.h"

class CORBA_TypeCode;

// A TypeCode and where it began. A table of them by position cannot be filled with collisions by a peer, who
// chooses the positions.
struct TRXTypeCodeAt {
    int64_t position = 0;
    CORBA_TypeCode* type = nullptr;
};

struct TRXByPosition : harbolance::GrowAtNineTenths {
    using Entry = TRXTypeCodeAt;
    static bool isFree(const Entry& entry) { return !entry.type; }
    static uint32_t hash(const Entry& entry) { return hash(entry.position); }
    static uint32_t hash(int64_t position) { return static_cast<uint32_t>(position); }
    static uint64_t fingerprint(const Entry& entry) { return fingerprint(entry.position); }
    static uint64_t fingerprint(int64_t position) {
        return harbolance::mixFingerprint(0, static_cast<uint64_t>(position));
    }
    static bool equal(const Entry& stored, const Entry& entry) { return stored.position == entry.position; }
    static bool equal(const Entry& stored, int64_t position) { return stored.position == position; }
};

// What a stream remembers of the TypeCodes that have passed, so that a flat TypeCode can point back at an
// earlier one. The stream's cleanup function is given each object when the table is reset, with the reference
// that whoever stored it left there.
class TRXTypeCodePositions {
public:
    // Raises CORBA_BAD_PARAM when the position or the object is there already, and keeps what was there.
    void store(CORBA_Long position, CORBA_TypeCode* object);
    // Both raise CORBA_OBJECT_NOT_EXIST for what was never stored.
    CORBA_Long positionOf(const CORBA_TypeCode* object) const;
    CORBA_TypeCode* objectAt(CORBA_Long position) const;

    using Cleanup = void (*)(CORBA_TypeCode*);
    void reset(Cleanup cleanup);

private:
    struct ByObject : harbolance::GrowAtNineTenths {
        using Entry = TRXTypeCodeAt;
        static bool isFree(const Entry& entry) { return !entry.type; }
        static uint32_t hash(const Entry& entry) { return harbolance::pointerHash(entry.type); }
        static uint32_t hash(const CORBA_TypeCode* type) { return harbolance::pointerHash(type); }
        static bool equal(const Entry& stored, const Entry& entry) { return stored.type == entry.type; }
        static bool equal(const Entry& stored, const CORBA_TypeCode* type) { return stored.type == type; }
    };

    harbolance::HashTable<TRXByPosition> _objects{16};
    harbolance::HashTable<ByObject> _positions{16};
};
