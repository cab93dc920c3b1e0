#pragma once

#include "base/hash_table.h"
#include "base/refcount.h"
#include "stream/nctypeinfo.h"

#include <cstdint>
#include <functional>
#include <vector>

// What an object stream remembers while it writes or reads. For the two forms of the stream only.

inline constexpr const char* ncReadErrorAdvice = "from  stream. Make sure your 'write' "
                                                 "function and constructor from stream are "
                                                 "correct\n";

// From a pointer to the id that it was assigned.
struct NCPtrEntry {
    const void* pointer = nullptr;
    int id = 0;
    explicit operator bool() const { return pointer != nullptr; }
};
using NCPtrMap = harbolance::KeyedTable<NCPtrEntry, &NCPtrEntry::pointer, harbolance::GrowAtThreeQuarters>;
using NCPtrSet = harbolance::KeyedTable<const void*, std::identity{}, harbolance::GrowAtThreeQuarters>;

// The ids of a writer: of objects within one outermost object, of classes within one connection or message.
//
// Invariant: every object that can be passed again within the outermost one is in the map of objects. Most of
// a message never enters it: members held by value, and records that their only holder writes. Such a record
// can be reached again through its holder only, and that is written once. This holds until an object is
// passed by a caller that may not be its only holder: such a caller may have pointers to anything, so from
// there to the end of the outermost object everything is entered, also what was written before. The outermost
// object is always entered: its only holder may be inside it.
class NCOutTable {
public:
    struct Assigned {
        int id;
        bool isNew;
    };

    // Any object may be passed from here on.
    void enterAll() {
        for (; entered_ < written_.size(); ++entered_)
            objects_.insert({written_[entered_], static_cast<int>(entered_)});
        allEntered_ = depth > 0;
    }
    // The id of an object that is about to be written, or was written before.
    Assigned assign(const void* object, bool soleHolder) {
        clearObjects();
        if (depth == 0)
            outermost_ = object;
        // Ids are positions in `written_`, whether or not the object enters the map.
        const auto next = static_cast<int>(written_.size());
        if (!soleHolder || allEntered_ || object == outermost_) {
            const auto known = objects_.insert({object, next});
            if (!known.added)
                return {known.entry->id, false};
        }
        written_.push_back(object);
        return {next, true};
    }
    void assignMember(const void* member) {
        clearObjects();
        written_.push_back(member);
    }
    void forgetObjects() {
        written_.clear();
        entered_ = 0;
        allEntered_ = false;
    }

    // The id of a class. A new one gets the next id.
    Assigned assignType(const void* name) {
        const auto known = types_.insert({name, static_cast<int>(types_.size())});
        return {known.entry->id, known.added};
    }
    void forgetTypes() { types_.clear(); }

    int depth = 0; // of writeObject within writeObject

private:
    // The map is cleared by the next object rather than at the end of the last one: clearing brings a large
    // table into the cache, where the next message uses it.
    void clearObjects() {
        if (written_.empty())
            objects_.clear();
    }

    std::vector<const void*> written_; // by object id
    size_t entered_ = 0;               // how many of them, from the start, `enterAll` has entered
    bool allEntered_ = false;
    NCPtrMap objects_{256};
    const void* outermost_ = nullptr;
    NCPtrMap types_{256};
};

// What a reader remembers.
struct NCInTable {
    struct Seen {
        NCTransObject* object;
        NCResource* counted; // the same object, when its class is counted
        bool complete;       // made by createObject, and built to the end
        uint32_t weight;     // of it and of all that it refers to, counted at each reference
    };

    // Collections that refer twice to the one below them double what a walk visits at each level, so a few of
    // them make a walk that does not end in time. So references add up what they repeat: the weight of the
    // object less one, which makes sharing single records free. The sum is bounded within one message. A
    // large object weighs one for each 256 octets.
    static constexpr uint32_t repeatBudget = 1u << 16;
    static constexpr size_t octetsPerWeight = 256;

    // Objects of one message, and class names of one connection, at the most.
    static constexpr size_t mostObjects = 1u << 22;
    static constexpr size_t mostTypes = mostObjects;

    NCInTable() {
        objects.reserve(256);
        types.reserve(256);
    }

    NCPtrSet known{16};
    std::vector<Seen> objects;            // by object id
    std::vector<const NCTypeInfo*> types; // by type id
    std::vector<NCResource*> completed;   // counted objects, each after all that it holds
    int depth = 0;                        // of readObject within readObject
    uint32_t weight = 0;                  // of what has been read of the object in hand
    uint32_t repeated = 0;                // how much of the budget is used up

    const Seen* object(int id) const {
        // The id is a peer's number.
        return id >= 0 && static_cast<size_t>(id) < objects.size() ? &objects[static_cast<size_t>(id)]
                                                                   : nullptr;
    }
    const NCTypeInfo* type(int id) const {
        return id >= 0 && static_cast<size_t>(id) < types.size() ? types[static_cast<size_t>(id)] : nullptr;
    }

    // As with the writer, `known` is cleared by the next object.
    void forgetObjects() {
        // A table that is far too large for this message shrinks, and a huge one in any case: clearing it for
        // each of the small messages behind a large one would cost more than these.
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

    // Destroys the counted objects without a holder, apart from `except`. An object completes after all that
    // it holds, so in this order no object is touched after its last holder has destroyed it.
    void destroyOrphans(const NCResource* except) {
        for (NCResource* object : completed) {
            // A reference count of 0 means that no object of the message took it.
            if (object != except && object->refCount() == 0)
                NCResource::release(object);
        }
        completed.clear();
    }
};
