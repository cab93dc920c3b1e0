#pragma once

#include "base/hash_table.h"
#include "base/refcount.h"
#include "marshal/reference/vobjectid.h"
#include "object/vobject.h"

#include <memory>
#include <string>
#include <string_view>

class TRXActivatorHelper;
class TRXImplHelper;

// The tables of an adapter.

namespace harbolance {

// Hash and equality of object ids, by kind and all fields.
CORBA_ULong hash(const TRXObjectId& id);
bool operator==(const TRXObjectId& a, const TRXObjectId& b);

// A map from object ids, of which the table keeps a reference, to `Value`, whose default value means none.
template <class Value>
class IdTable {
public:
    Value find(const TRXObjectId& id) const {
        const auto* found = _table.find(id);
        return found ? found->value : Value{};
    }
    bool has(const TRXObjectId& id) const { return _table.find(id) != nullptr; }
    // Raises CORBA_BAD_PARAM for an id that is in the table.
    void insert(const TRXObjectId& id, Value value) {
        const auto added =
            _table.insert({TRXRef<TRXObjectId>::duplicate(const_cast<TRXObjectId*>(&id)), std::move(value)});
        if (!added.added)
            throw CORBA_BAD_PARAM();
    }
    // Raises CORBA_OBJECT_NOT_EXIST for an id that is not in the table.
    Value remove(const TRXObjectId& id) {
        auto taken = _table.take(id);
        if (!taken.id)
            throw CORBA_OBJECT_NOT_EXIST();
        return std::move(taken.value);
    }

    // Removes an id if it is in the table.
    void discard(const TRXObjectId& id) { _table.take(id); }

    CORBA_ULong size() const { return _table.size(); }
    // Calls `visit` in slot order.
    template <class Visit>
    void each(Visit visit) const {
        for (uint32_t i = _table.next(0); i < _table.capacity(); i = _table.next(i + 1))
            visit(_table.slot(i).value);
    }

private:
    struct Traits : GrowAtNineTenths {
        struct Entry {
            TRXRef<TRXObjectId> id;
            Value value{};
        };
        static bool isFree(const Entry& entry) { return !entry.id; }
        static uint32_t hash(const TRXObjectId& id) { return harbolance::hash(id); }
        static uint32_t hash(const Entry& entry) { return hash(*entry.id); }
        static bool equal(const Entry& stored, const TRXObjectId& id) { return *stored.id == id; }
        static bool equal(const Entry& stored, const Entry& entry) { return equal(stored, *entry.id); }
    };

    HashTable<Traits> _table{16};
};

// A map from texts, which the table copies, to `Value`.
template <class Value>
class TextTable {
public:
    const Value* find(std::string_view text) const {
        const auto* found = _table.find(text);
        return found ? &(*found)->value : nullptr;
    }
    Value* find(std::string_view text) {
        auto* found = _table.find(text);
        return found ? &(*found)->value : nullptr;
    }
    // The value of the text; it is made if there is none.
    Value& at(std::string_view text) {
        if (Value* found = find(text))
            return *found;
        return (*_table.insert(std::make_unique<Pair>(Pair{std::string(text), Value{}})).entry)->value;
    }
    bool remove(std::string_view text) { return _table.take(text) != nullptr; }
    CORBA_ULong size() const { return _table.size(); }
    // The first value in slot order; null for an empty table.
    const Value* first() const {
        const uint32_t index = _table.next(0);
        return index < _table.capacity() ? &_table.slot(index)->value : nullptr;
    }

private:
    struct Pair {
        std::string text;
        Value value;
    };
    struct Traits : GrowAtNineTenths {
        using Entry = std::unique_ptr<Pair>;
        static bool isFree(const Entry& entry) { return !entry; }
        static uint32_t hash(std::string_view text) { return stringHash(text); }
        static uint32_t hash(const Entry& entry) { return stringHash(entry->text); }
        static bool equal(const Entry& stored, std::string_view text) { return stored->text == text; }
        static bool equal(const Entry& stored, const Entry& entry) { return equal(stored, entry->text); }
    };

    HashTable<Traits> _table{16};
};

// The named objects by interface: each is entered under its own interface and all bases of that. Of two
// objects with one name the first stays. The table is not an owner.
class NamedObjects {
public:
    void add(const CORBA_TypeInfo& info, const char* name, CORBA_Object* object);
    // Removes the name, whichever object has it, and continues with the bases as long as it is found.
    void remove(const CORBA_TypeInfo& info, const char* name);
    // Null when no object of the interface is entered. With an empty name any object of it; an unknown name
    // raises CORBA_OBJECT_NOT_EXIST.
    CORBA_Object* find(const char* repId, const char* name) const;

private:
    using Names = TextTable<CORBA_Object*>;

    bool addUnder(std::string_view interfaceId, const char* name, CORBA_Object* object);
    bool removeUnder(std::string_view interfaceId, const char* name);

    TextTable<std::unique_ptr<Names>> _interfaces;
};

} // namespace harbolance
