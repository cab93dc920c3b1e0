#pragma once

#include <cstddef>
#include <new>

namespace harbolance {

// Whether memory is kept for the next use. Sanitizer builds keep none, so that they still see a use after the
// end of life.
#if defined(__SANITIZE_ADDRESS__) // g++
inline constexpr bool keepsMemory = false;
#elif defined(__has_feature) // clang
inline constexpr bool keepsMemory = !__has_feature(address_sanitizer);
#else
inline constexpr bool keepsMemory = true;
#endif

// Keeps the memory of destroyed objects of one class for the next ones, so that what is made and destroyed
// with every call costs no allocation. A class takes part by deriving from it:
//
//     class Message : public FreeListed<Message> { ... };
//
// At most `limit` objects' memory is kept. A class that derives further allocates as usual.
template <class T, size_t limit = 64>
class FreeListed {
public:
    // The kept blocks fit T exactly. A derived class inherits this operator and comes with a larger size.
    static void* operator new(size_t size) {
        if (size != sizeof(T) || !_free)
            return ::operator new(size);
        Block* taken = _free;
        _free = taken->next;
        --_count;
        return taken;
    }

    // The operators of this class hide the global ones, so that those for a given place are repeated.
    static void* operator new(size_t, void* place) noexcept { return place; }
    static void operator delete(void*, void*) noexcept {}

    static void operator delete(void* memory, size_t size) noexcept {
        if (!memory)
            return;
        // `size` is that of the destroyed object's own class, provided that its destructor is virtual.
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
