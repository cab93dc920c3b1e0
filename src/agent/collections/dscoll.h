#pragma once

#include "agent/records/dsresrc.h"

#include <vector>

class DSCollection;

namespace harbolance {

// The state of an iteration over a collection; the user zero-initialises it. See DSCollection.
struct Iterator {
    const DSCollection* collection = nullptr;
    uint32_t position = 0;
    void* current = nullptr;
};

} // namespace harbolance

// Base of the collections. A collection holds references to its elements, compares them with `isEqual` and
// can be streamed. It must not be changed during an iteration:
//
//     harbolance::Iterator it;
//     while (void* cursor = collection.next(it))
//         DSResource* element = collection.at(cursor);
//
// or, shorter, `for (DSResource* element : collection)`.
//
// No operation reports an error: a missing element or an index out of range gives null or 0.
class DSCollection : public DSResource {
public:
    static const NCTypeInfo info;

    DSCollection() = default;
    explicit DSCollection(NCistream& in) : DSResource(in) {}
    const NCTypeInfo& typeInfo() const override { return info; }

    virtual DSResource* at(void* cursor) const { return static_cast<DSResource*>(cursor); }
    // Returns the element that is then in the collection: `object`, or an equal element that a set already
    // holds.
    virtual DSResource* add(DSResource* object) = 0;
    virtual int remove(const DSResource* object) = 0;
    virtual void clear() = 0;
    virtual uint32_t size() const = 0;
    virtual int includes(const DSResource* object) const = 0;
    // Returns the next cursor, null at the end.
    virtual void* next(harbolance::Iterator& it) const = 0;
    virtual bool isEmpty() const { return size() == 0; }
    virtual void reset(harbolance::Iterator& it) const {
        it.position = 0;
        it.current = nullptr;
    }

    void printOn(NCostream& out) const override;
    uint32_t hash() const override;
    uint64_t fingerprint() const override;

    class Walk {
    public:
        Walk() = default;
        explicit Walk(const DSCollection& collection) : collection_(&collection) { ++*this; }
        DSResource* operator*() const { return collection_->at(cursor_); }
        Walk& operator++() {
            cursor_ = collection_->next(it_);
            return *this;
        }
        bool operator!=(const Walk& end) const { return cursor_ != end.cursor_; }

    private:
        const DSCollection* collection_ = nullptr;
        harbolance::Iterator it_;
        void* cursor_ = nullptr;
    };
    Walk begin() const { return Walk(*this); }
    Walk end() const { return {}; }

protected:
    // Reads `count` elements of class `type` or derived from it. Memory is allocated as elements arrive, not
    // by the count. On failure marks the stream as failed and returns no elements.
    static std::vector<DSResource*> readElements(NCistream& in, uint32_t count, const NCTypeInfo& type);
    // Compares element by element, in the order of iteration.
    int compareInOrder(const DSCollection& other) const;
};
