#pragma once

#include <cstddef>
#include <new>

namespace harbolance {

// Whether free lists keep memory. Builds with the address sanitizer keep none, so that it still detects a use
// after destruction.
#if defined(__SANITIZE_ADDRESS__) // g++
inline constexpr bool keepsMemory = false;
#elif defined(__has_feature) // clang
inline constexpr bool keepsMemory = !__has_feature(address_sanitizer);
#else
inline constexpr bool keepsMemory = true;
#endif

// A free list for the objects of one class: the memory of destroyed objects is reused for new ones, so that
// objects made for every call cost no allocation. A class derives from it:
//
//     class Message : public FreeListed<Message> { ... };
//
// At most `limit` blocks are kept. Classes derived from T allocate as usual.
template <class T, size_t limit = 64>
class FreeListed {
public:
    // The kept blocks have the size of T. A derived class inherits this operator and asks for a larger size.
    static void* operator new(size_t size) {
        if (size != sizeof(T) || !_free)
            return ::operator new(size);
        Block* taken = _free;
        _free = taken->next;
        --_count;
        return taken;
    }

    // The operators of this class hide the global placement forms, so they are repeated here.
    static void* operator new(size_t, void* place) noexcept { return place; }
    static void operator delete(void*, void*) noexcept {}

    static void operator delete(void* memory, size_t size) noexcept {
        if (!memory)
            return;
        // `size` is the size of the object's own class, provided that its destructor is virtual.
        if (!keepsMemory || size != sizeof(T) || _count == limit) {
            ::operator delete(memory);
            return;
        }
        _free = new (memory) Block{_free};
        ++_count;
    }

private:
    struct Block {
        Block* next;
    };

    static inline constinit Block* _free = nullptr;
    static inline constinit size_t _count = 0;
};

} // namespace harbolance
