#pragma once

// The base layer, which every other folder uses and which uses none of them: reference counts and their
// holders (this file), the one hash table with the index of its colliding entries (hash_table.h,
// collision_index.h), the growing list (list.h), the string hash (string_hash.h), quoted text
// (quoted_text.h), text of a peer for a terminal (printable.h), the functions that run at exit (exit_list.h)
// and the assertion for broken invariants (assertion.h).

#include <cstdint>
#include <utility>

// Base of the reference-counted records of the agent layer. The count of a new object is 0, and its first
// holder adds the first reference. An object made for a single call can thus be passed directly to a holder,
// and one that never had a holder is destroyed by its first release.
//
// Counts are plain integers, because the process has a single thread.
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

    // Gives up one reference without destroying the object at 0: for returning an object that has no holder
    // to the caller.
    void unref() {
        if (_ref_count > 0)
            --_ref_count;
    }

protected:
    NCResource() = default;
    // A copy is a new object with no holder, so its count starts at 0.
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

    // Empties the holder and returns the object without destroying it, even if its count becomes 0. The
    // caller is expected to hold it.
    T* detach() {
        if (object_)
            object_->unref();
        return std::exchange(object_, nullptr);
    }

private:
    T* object_ = nullptr;
};

// Base of the reference-counted objects of the ORB. The count of a new object is 1: the code that makes it
// owns that reference.
class TRXResource {
public:
    void _add_ref() { ++_ref_count; }
    void _remove_ref();
    uint32_t _refcount() const { return _ref_count; }
    // Gives up the maker's reference without destroying the object; the next holder becomes its first owner.
    void _disown() { --_ref_count; }

protected:
    TRXResource() = default;
    TRXResource(const TRXResource&) noexcept {}
    TRXResource& operator=(const TRXResource&) noexcept { return *this; }
    virtual ~TRXResource();

private:
    uint32_t _ref_count = 1;
};

// Owns one reference to an ORB object, or nothing. Construction from a plain pointer takes over a reference
// of the caller; `duplicate` adds one.
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
