#pragma once

#include "base/hash_table.h"
#include "base/refcount.h"
#include "stream/nctypeinfo.h"

#include <cstdint>
#include <functional>
#include <vector>

// The state of an object stream while it writes or reads. Used by the two forms of the stream only.

inline constexpr const char* ncReadErrorAdvice = "from  stream. Make sure your 'write' "
                                                 "function and constructor from stream are "
                                                 "correct\n";

// Maps a pointer to its id.
struct NCPtrEntry {
    const void* pointer = nullptr;
    int id = 0;
    explicit operator bool() const { return pointer != nullptr; }
};
using NCPtrMap = harbolance::KeyedTable<NCPtrEntry, &NCPtrEntry::pointer, harbolance::GrowAtThreeQuarters>;
using NCPtrSet = harbolance::KeyedTable<const void*, std::identity{}, harbolance::GrowAtThreeQuarters>;

// The ids of a writer: of objects, within one outermost object; of classes, within one connection or message.
//
// Invariant: every object that may be passed again within the outermost one is in the map of objects. Most
// objects of a message are never entered: members held by value, and records that are written by their only
// holder. Such a record can be reached again only through its holder, and the holder itself is written once.
// This is true until an object is passed by a caller that may not be its only holder: that caller may have
// pointers to any object, so from there to the end of the outermost object everything is entered, including
// what was written before. The outermost object is always entered, because an object inside it may be its
// only holder.
class NCOutTable {
public:
    struct Assigned {
        int id;
        bool isNew;
    };

    // From here on any object may be passed again, so all are entered.
    void enterAll() {
        for (; entered_ < count_; ++entered_)
            objects_.insert({written_[entered_], static_cast<int>(entered_)});
        allEntered_ = depth > 0;
    }
    // The id of an object that is about to be written or was written before.
    Assigned assign(const void* object, bool soleHolder) {
        clearObjects();
        if (depth == 0)
            outermost_ = object;
        const bool searched = !soleHolder || allEntered_ || object == outermost_;
        return searched ? assignSearched(object) : Assigned{append(object), true};
    }
    void assignMember(const void* member) {
        clearObjects();
        append(member);
    }
    void forgetObjects() {
        count_ = 0;
        entered_ = 0;
        allEntered_ = false;
    }

    // The id of a class. A new one gets the next id.
    Assigned assignType(const void* name) {
        if (const NCPtrEntry* known = types_.find(name))
            return {known->id, false};
        const auto next = static_cast<int>(types_.size());
        types_.insert({name, next});
        return {next, true};
    }
    void forgetTypes() { types_.clear(); }

    int depth = 0; // nesting depth of writeObject

private:
    // Ids are positions in `written_`, also for objects that are not in the map. This runs for each object:
    // rare steps are functions of their own, so that it stays a few instructions.
    int append(const void* object) {
        if (count_ == written_.size()) [[unlikely]]
            grow();
        written_[count_] = object;
        return static_cast<int>(count_++);
    }
    [[gnu::noinline]] void grow() { written_.resize(2 * count_); }
    [[gnu::noinline]] Assigned assignSearched(const void* object) {
        if (const NCPtrEntry* known = objects_.find(object))
            return {known->id, false};
        const int next = append(object);
        objects_.insert({object, next});
        return {next, true};
    }

    // The map is cleared by the next object, not at the end of the last one: clearing loads a large table
    // into the CPU cache, where the next message then uses it.
    void clearObjects() {
        if (count_ == 0)
            objects_.clear();
    }

    std::vector<const void*> written_ = std::vector<const void*>(64); // by object id
    size_t count_ = 0;                                                // number of ids assigned
    size_t entered_ = 0; // number of objects, from the start, that `enterAll` has entered
    bool allEntered_ = false;
    NCPtrMap objects_{256};
    const void* outermost_ = nullptr;
    NCPtrMap types_{256};
};

// The state of a reader.
struct NCInTable {
    struct Seen {
        NCTransObject* object = nullptr;
        NCResource* counted = nullptr; // the same object, when its class is reference-counted
        bool complete = false;         // made by createObject, and fully constructed
        uint32_t weight = 1;           // of it and of all objects it refers to, counted once per reference
    };

    // Limits the cost of shared objects. When each collection refers twice to the next one, every level
    // doubles the objects that a traversal visits, so a short message could make a traversal that never ends
    // in practice. Therefore each repeated reference adds the weight of the object less one (so sharing
    // single records is free), and the sum within one message is limited. A large object has a weight of one
    // per 256 octets.
    static constexpr uint32_t repeatBudget = 1u << 16;
    static constexpr size_t octetsPerWeight = 256;

    // Upper limits for the objects of one message and the class names of one connection.
    static constexpr size_t mostObjects = 1u << 22;
    static constexpr size_t mostTypes = mostObjects;

    NCInTable() {
        objects.reserve(256);
        types.reserve(256);
    }

    NCPtrSet known{16};
    std::vector<Seen> objects;            // by object id
    std::vector<const NCTypeInfo*> types; // by type id
    std::vector<NCResource*> completed;   // counted objects, each after all objects that it holds
    int depth = 0;                        // nesting depth of readObject
    uint32_t weight = 0;                  // of what has been read of the current object
    uint32_t repeated = 0;                // used part of the budget

    const Seen* object(int id) const {
        // The id comes from a peer.
        return id >= 0 && static_cast<size_t>(id) < objects.size() ? &objects[static_cast<size_t>(id)]
                                                                   : nullptr;
    }
    const NCTypeInfo* type(int id) const {
        return id >= 0 && static_cast<size_t>(id) < types.size() ? types[static_cast<size_t>(id)] : nullptr;
    }

    // As in the writer, `known` is cleared by the next object.
    void forgetObjects() {
        // A table far too large for this message is shrunk, and a huge one always: after one large message,
        // clearing it for each small message would cost more than handling these.
        constexpr uint32_t small = 1u << 12;
        constexpr uint32_t huge = 1u << 18;
        const bool spacious = known.capacity() > small && known.size() < known.capacity() / 16;
        if (spacious || known.capacity() > huge) {
            known.resize(16);
            objects.shrink_to_fit();
        }
        objects.clear();
        completed.clear();
        weight = 0;
        repeated = 0;
    }

    // Destroys counted objects without a holder, except `except`. An object is completed after all that it
    // holds, so in this order no object is used after its last holder has destroyed it.
    void destroyOrphans(const NCResource* except) {
        for (NCResource* object : completed) {
            // With a reference count of 0 no object of the message holds it.
            if (object != except && object->refCount() == 0)
                NCResource::release(object);
        }
        completed.clear();
    }
};
