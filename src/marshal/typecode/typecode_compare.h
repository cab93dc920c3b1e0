#pragma once

#include "base/hash_table.h"
#include "marshal/typecode/typecode.h"

#include <optional>
#include <vector>

namespace harbolance {

// Compares types by traversing both in parallel. Each visited pair is assumed to be equal from then on, which
// ends the traversal of recursive types. The assumptions are classes of equal types (union-find), and each
// new pair joins two classes, so the time is linear however often a type occurs. A comparison that finds a
// difference undoes its assumptions; those of an equal result are proven and are kept for further
// comparisons.
class TypeComparison {
public:
    // With `asWritten` object references and exceptions are compared in detail; otherwise they are all equal.
    explicit TypeComparison(bool asWritten = false) : _asWritten(asWritten) {}

    int compare(const CORBA_TypeCode* a, const CORBA_TypeCode* b);
    // The number of pairs visited by comparisons that found a difference.
    uint64_t wasted() const { return _wasted; }

private:
    struct Class {
        const CORBA_TypeCode* type = nullptr;
        const CORBA_TypeCode* parent = nullptr; // the type itself, if it is the class's representative
        uint32_t size = 1;
    };
    struct ClassTraits : GrowAtNineTenths {
        using Entry = Class;
        static bool isFree(const Entry& entry) { return !entry.type; }
        static uint32_t hash(const Entry& entry) { return pointerHash(entry.type); }
        static uint32_t hash(const CORBA_TypeCode* type) { return pointerHash(type); }
        static bool equal(const Entry& stored, const Entry& entry) { return stored.type == entry.type; }
        static bool equal(const Entry& stored, const CORBA_TypeCode* type) { return stored.type == type; }
    };

    int walk(const CORBA_TypeCode* a, const CORBA_TypeCode* b);
    int walkParts(const CORBA_TypeCode& a, const CORBA_TypeCode& b);
    int walkContent(const CORBA_TypeCode& a, const CORBA_TypeCode& b);
    int walkMember(const CORBA_TypeCode& a, const CORBA_TypeCode& b, CORBA_ULong index);
    int walkLabel(const CORBA_TypeCode& a, const CORBA_TypeCode& b, CORBA_ULong index);
    bool unite(const CORBA_TypeCode& a, const CORBA_TypeCode& b);
    Class& classOf(const CORBA_TypeCode& type);
    void separate(size_t joined);

    bool _asWritten;
    uint64_t _steps = 0;
    uint64_t _wasted = 0;
    std::optional<HashTable<ClassTraits>> _classes; // most comparisons need none
    std::vector<const CORBA_TypeCode*> _joined;     // types that are no longer representatives, in order
};

} // namespace harbolance
