#pragma once

#include "base/hash_table.h"
#include "base/string_hash.h"
#include "marshal/types.h"

class CORBA_TypeCode;

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
    struct Pair {
        CORBA_Long position = 0;
        CORBA_TypeCode* object = nullptr;
    };

    struct ByPosition : GrowAtNineTenths {
        using Entry = Pair;
        static bool isFree(const Pair& pair) { return !pair.object; }
        static uint32_t hash(const Pair& pair) { return hash(pair.position); }
        static uint32_t hash(CORBA_Long position) { return static_cast<uint32_t>(position); }
        static uint64_t fingerprint(const Pair& pair) { return fingerprint(pair.position); }
        static uint64_t fingerprint(CORBA_Long position) {
            return mixFingerprint(0, static_cast<uint64_t>(position));
        }
        static bool equal(const Pair& stored, const Pair& pair) { return stored.position == pair.position; }
        static bool equal(const Pair& stored, CORBA_Long position) { return stored.position == position; }
    };

    struct ByObject : GrowAtNineTenths {
        using Entry = Pair;
        static bool isFree(const Pair& pair) { return !pair.object; }
        static uint32_t hash(const Pair& pair) { return pointerHash(pair.object); }
        static uint32_t hash(const CORBA_TypeCode* object) { return pointerHash(object); }
        static bool equal(const Pair& stored, const Pair& pair) { return stored.object == pair.object; }
        static bool equal(const Pair& stored, const CORBA_TypeCode* object) {
            return stored.object == object;
        }
    };

    HashTable<ByPosition> _objects{16};
    HashTable<ByObject> _positions{16};
};
