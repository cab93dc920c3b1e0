#pragma once

// The base layer, which every other folder uses and which uses none of them: reference counts and their
// holders (this file), the one hash table with the index of its colliding entries (hash_table.h,
// collision_index.h), the growing list (list.h), the string hash (string_hash.h), quoted text
// (quoted_text.h), text of a peer for a terminal (printable.h), the functions that run at exit (exit_list.h)
// and the assertion for broken invariants (assertion.h).

#include <cstdint>
#include <utility>

// Counted records of the agent layer. The count starts at 0: a new object has no holder yet, and the first
// holder adds the first reference. So an object that was made for one call may be passed straight to a
// holder, and one that never had a holder is destroyed by its first release.
//
// Counts are plain integers: the system has one thread.
class NCResource {
public:
    // `addRef` and `release` accept null.
    static void addRef(NCResource* object) {
        if (object)
            ++object->_ref_count;
    }
    // Destroys the object at a count of 0 or 1, lowers any other count.
    static void release(NCResource* object);
    NCResource* ref() {
        ++_ref_count;
        return this;
    }
    uint32_t refCount() const { return _ref_count; }

    // Gives up one reference without destroying at 0: for a result that passes, unheld, to the caller.
    void unref() {
        if (_ref_count > 0)
            --_ref_count;
    }

protected:
    NCResource() = default;
    // A copy is a new object, without a holder.
    NCResource(const NCResource&) noexcept {}
    NCResource& operator=(const NCResource&) noexcept { return *this; }
    virtual ~NCResource();

private:
    uint32_t _ref_count = 0;
};

// Owns one reference to an agent record, or nothing. Construction from a plain pointer adds a reference.
template <class T>
class NCRef {
public:
    NCRef() = default;
    NCRef(T* object) : object_(object) {
        NCResource::addRef(object_);
    } // NOLINT: a record becomes held by being passed
    NCRef(const NCRef& other) : NCRef(other.object_) {}
    NCRef(NCRef&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    template <class U>
    NCRef(const NCRef<U>& other) : NCRef(other.get()) {}
    ~NCRef() { NCResource::release(object_); }

    NCRef& operator=(NCRef other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }

    T* get() const { return object_; }
    T* operator->() const { return object_; }
    T& operator*() const { return *object_; }
    explicit operator bool() const { return object_ != nullptr; }

    // Hands the object on to a caller who will hold it: the holder is empty afterwards and the count one
    // lower, possibly 0, with the object alive.
    T* detach() {
        if (object_)
            object_->unref();
        return std::exchange(object_, nullptr);
    }

private:
    T* object_ = nullptr;
};

// Counted objects of the ORB. The count starts at 1: the code that makes one owns that first reference.
class TRXResource {
public:
    void _add_ref() { ++_ref_count; }
    void _remove_ref();
    uint32_t _refcount() const { return _ref_count; }
    // Gives up the maker's reference without destroying the object: whoever takes the next one is the first
    // to own it.
    void _disown() { --_ref_count; }

protected:
    TRXResource() = default;
    TRXResource(const TRXResource&) noexcept {}
    TRXResource& operator=(const TRXResource&) noexcept { return *this; }
    virtual ~TRXResource();

private:
    uint32_t _ref_count = 1;
};

// Owns one reference to an ORB object, or nothing. Construction from a plain pointer takes that reference
// over; `duplicate` adds one.
template <class T>
class TRXRef {
public:
    TRXRef() = default;
    explicit TRXRef(T* owned) : _object(owned) {}
    static TRXRef duplicate(T* borrowed) {
        if (borrowed)
            borrowed->_add_ref();
        return TRXRef(borrowed);
    }
    TRXRef(const TRXRef& other) : TRXRef(duplicate(other._object)) {}
    TRXRef(TRXRef&& other) noexcept : _object(std::exchange(other._object, nullptr)) {}
    ~TRXRef() {
        if (_object)
            _object->_remove_ref();
    }

    TRXRef& operator=(TRXRef other) noexcept {
        std::swap(_object, other._object);
        return *this;
    }

    T* get() const { return _object; }
    T* operator->() const { return _object; }
    T& operator*() const { return *_object; }
    explicit operator bool() const { return _object != nullptr; }
    bool operator==(const TRXRef& other) const { return _object == other._object; }
    T* detach() { return std::exchange(_object, nullptr); }

private:
    T* _object = nullptr;
};
