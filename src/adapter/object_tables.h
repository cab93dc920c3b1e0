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

// By kind and all fields.
CORBA_ULong hash(const TRXObjectId& id);
bool operator==(const TRXObjectId& a, const TRXObjectId& b);

// From an object id, which the table keeps, to a `Value`, whose default stands for none.
template <class Value>
class IdTable {
public:
    Value find(const TRXObjectId& id) const {
        const auto* found = _table.find(id);
        return found ? found->value : Value{};
    }
    bool has(const TRXObjectId& id) const { return _table.find(id) != nullptr; }
    // An id that is there raises CORBA_BAD_PARAM.
    void insert(const TRXObjectId& id, Value value) {
        const auto added =
            _table.insert({TRXRef<TRXObjectId>::duplicate(const_cast<TRXObjectId*>(&id)), std::move(value)});
        if (!added.added)
            throw CORBA_BAD_PARAM();
    }
    // An id that is not there raises CORBA_OBJECT_NOT_EXIST.
    Value remove(const TRXObjectId& id) {
        auto taken = _table.take(id);
        if (!taken.id)
            throw CORBA_OBJECT_NOT_EXIST();
        return std::move(taken.value);
    }

    // The same without a complaint.
    void discard(const TRXObjectId& id) { _table.take(id); }

    CORBA_ULong size() const { return _table.size(); }
    // In slot order.
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

// From a text, which the table keeps, to a `Value`.
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
    // The value of the text, which is made when there is none.
    Value& at(std::string_view text) {
        if (Value* found = find(text))
            return *found;
        return (*_table.insert(std::make_unique<Pair>(Pair{std::string(text), Value{}})).entry)->value;
    }
    bool remove(std::string_view text) { return _table.take(text) != nullptr; }
    CORBA_ULong size() const { return _table.size(); }
    // In slot order; null for an empty table.
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

// The named objects by interface: each stands under its own interface and all of that one's bases. Of two
// objects with one name the first stays. Holds no references.
class NamedObjects {
public:
    void add(const CORBA_TypeInfo& info, const char* name, CORBA_Object* object);
    // Takes the name out, whichever object has it, and goes on with the bases as long as it finds it.
    void remove(const CORBA_TypeInfo& info, const char* name);
    // Null when nothing is known of the interface. With an empty name any object of it; a name that nothing
    // has raises CORBA_OBJECT_NOT_EXIST.
    CORBA_Object* find(const char* repId, const char* name) const;

private:
    using Names = TextTable<CORBA_Object*>;

    bool addUnder(std::string_view interfaceId, const char* name, CORBA_Object* object);
    bool removeUnder(std::string_view interfaceId, const char* name);

    TextTable<std::unique_ptr<Names>> _interfaces;
};

} // namespace harbolance
