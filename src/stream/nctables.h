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

// From a pointer to the id that it was given.
struct NCPtrEntry {
    const void* pointer = nullptr;
    int id = 0;
    explicit operator bool() const { return pointer != nullptr; }
};
using NCPtrMap = harbolance::KeyedTable<NCPtrEntry, &NCPtrEntry::pointer, harbolance::GrowAtHalf>;
using NCPtrSet = harbolance::KeyedTable<const void*, std::identity{}, harbolance::GrowAtHalf>;

// Most objects of a message are members held by value or records with a single holder. Nothing that is
// written later refers to one of these, so they get an id and stay out of the table until something could.
struct NCOutTable {
    std::vector<const void*> written; // by object id
    NCPtrMap objects{256};            // ids of those that may be met again
    size_t entered = 0;               // of `written`, from the start: all these are in `objects`
    const void* outermost = nullptr;
    bool ownersOnly = true; // so far every object within the outermost was written by who holds it
    NCPtrMap types{256};
    int lastTypeId = -1;
    bool learning = true; // new types enter `types`
    int depth = 0;        // of writeObject within writeObject

    // An object comes that anybody may have passed, and so may those after it.
    void enterAll() {
        for (; entered < written.size(); ++entered)
            objects.insert({written[entered], static_cast<int>(entered)});
        ownersOnly = ownersOnly && depth == 0;
    }
    // The id that the object has, or the next one, which `added` tells.
    int idOf(const void* object, bool soleHolder, bool& added) {
        forgetLastMessage();
        if (depth == 0)
            outermost = object;
        auto id = static_cast<int>(written.size());
        added = true;
        // The holder of the only reference is written once, and this with it. But nobody need hold the
        // outermost.
        if (!soleHolder || !ownersOnly || object == outermost) {
            const auto known = objects.insert({object, id});
            id = known.entry->id;
            added = known.added;
        }
        if (added)
            written.push_back(object);
        return id;
    }
    void append(const void* member) {
        forgetLastMessage();
        written.push_back(member);
    }
    // What is forgotten leaves `objects` when the next object starts, not before: clearing it is what brings
    // a large table into the cache.
    void forgetLastMessage() {
        if (written.empty())
            objects.clear();
    }
    void forgetObjects() {
        written.clear();
        entered = 0;
        ownersOnly = true;
    }
    void forgetTypes() {
        types.clear();
        lastTypeId = -1;
    }
};

struct NCInTable {
    struct Seen {
        NCTransObject* object;
        NCResource* counted; // the same object, when its class is counted
        bool complete;       // made by createObject, and built to the end
        uint32_t weight;     // of it and of what is in it, as often as it is reached
    };

    // What references may repeat within one message: objects reached again, the first time apart. Sharing
    // single records is free. Without a bound a few nested collections that name each other twice would stand
    // for more objects than anybody can hash. An object counts once more for each 256 octets that it holds.
    static constexpr uint32_t repeatBudget = 1u << 16;
    static constexpr size_t octetsPerWeight = 256;

    // Objects of one message and class names of one connection, at the most.
    static constexpr size_t mostObjects = 1u << 22;
    static constexpr size_t mostTypes = 1u << 16;

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
    uint32_t repeated = 0;                // of the budget, used up

    const Seen* object(int id) const {
        return id >= 0 && static_cast<size_t>(id) < objects.size() ? &objects[static_cast<size_t>(id)]
                                                                   : nullptr;
    }
    const NCTypeInfo* type(int id) const {
        return id >= 0 && static_cast<size_t>(id) < types.size() ? types[static_cast<size_t>(id)] : nullptr;
    }

    // As with the writer, `known` is cleared by the next object.
    void forgetObjects() {
        // The tables of one huge message are not kept, nor cleared again and again, for the small ones behind
        // it.
        constexpr uint32_t large = 1u << 18;
        if (known.capacity() > large) {
            known.resize(16);
            objects.shrink_to_fit();
        }
        objects.clear();
        completed.clear();
        weight = 0;
        repeated = 0;
    }

    // Destroys the counted objects that nobody holds, `except` apart. An object completes after all that it
    // holds, so in this order nothing is looked at again once its last holder has gone.
    void destroyOrphans(const NCResource* except) {
        for (NCResource* object : completed) {
            if (object != except && object->refCount() == 0)
                NCResource::release(object);
        }
        completed.clear();
    }
};
