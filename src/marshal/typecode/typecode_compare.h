#pragma once

#include "base/hash_table.h"
#include "marshal/typecode/typecode.h"

#include <optional>
#include <vector>

namespace harbolance {

// The walk over two types at once. Pairs that have been met are taken for equal from then on, which ends the
// walk of recursive types and keeps it linear where a type is used many times: the types that have been taken
// for equal form classes, and each new pair joins two of them. What a comparison that found a difference had
// taken for equal is forgotten; everything else holds for further comparisons.
class TypeComparison {
public:
    // `asWritten` looks into references and exceptions, which otherwise are all the same type.
    explicit TypeComparison(bool asWritten = false) : _asWritten(asWritten) {}

    int compare(const CORBA_TypeCode* a, const CORBA_TypeCode* b);
    // How many pairs the comparisons that found a difference have looked at.
    uint64_t wasted() const { return _wasted; }

private:
    struct Class {
        const CORBA_TypeCode* type = nullptr;
        const CORBA_TypeCode* parent =
            nullptr; // of the same class; the type itself for the one that stands for it
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
    const CORBA_TypeCode* classOf(const CORBA_TypeCode& type);
    void separate(size_t joined);

    bool _asWritten;
    uint64_t _steps = 0;
    uint64_t _wasted = 0;
    std::optional<HashTable<ClassTraits>> _classes; // most comparisons need none
    std::vector<const CORBA_TypeCode*> _joined;     // those that no longer stand for a class, in order
};

} // namespace harbolance
