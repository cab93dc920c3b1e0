#pragma once

#include "base/assertion.h"

#include <cstdint>
#include <memory>
#include <utility>

// A growing array. The capacity goes from 0 to 16 and then doubles; one slot always stays free, so the 16th
// element already doubles it. An index out of range is a program error and ends the process.
template <class T>
class TRXList {
public:
    TRXList() = default;
    TRXList(const TRXList& other) {
        // Elements are appended one by one, because the capacity of the copy follows from its count.
        for (const T& element : other)
            append(element);
    }
    TRXList(TRXList&& other) noexcept { swap(other); }
    TRXList& operator=(TRXList other) noexcept {
        swap(other);
        return *this;
    }

    uint32_t count() const { return _count; }
    uint32_t capacity() const { return _capacity; }

    T& at(uint32_t index) {
        check(index);
        return _data[index];
    }
    const T& at(uint32_t index) const {
        check(index);
        return _data[index];
    }

    void append(T element) { insert(_count, std::move(element)); }

    // Inserts the element in front of the one at `index`; at `count()` it appends. The element is passed by
    // value, because the argument may be an element of this list, and those move.
    void insert(uint32_t index, T element) {
        TRX_ASSERT(index <= _count, "vlist");
        if (_count + 1 >= _capacity)
            grow();
        for (uint32_t i = _count; i > index; --i)
            _data[i] = std::move(_data[i - 1]);
        _data[index] = std::move(element);
        ++_count;
    }

    // Removes the first element equal to the argument and keeps the order of the rest. False when there is
    // none.
    bool remove(const T& element) {
        uint32_t i = 0;
        while (i < _count && !(_data[i] == element))
            ++i;
        if (i == _count)
            return false;
        for (; i + 1 < _count; ++i)
            _data[i] = std::move(_data[i + 1]);
        // Cleared, so that the free slot does not keep what it refers to.
        _data[--_count] = T();
        return true;
    }

    T* begin() { return _data.get(); }
    T* end() { return _data.get() + _count; }
    const T* begin() const { return _data.get(); }
    const T* end() const { return _data.get() + _count; }

private:
    void swap(TRXList& other) noexcept {
        std::swap(_data, other._data);
        std::swap(_capacity, other._capacity);
        std::swap(_count, other._count);
    }

    void check(uint32_t i) const {
        // The text and the line number are fixed, because users know the error message by them.
        if (!(i < _count))
            harbolance::assertionFailed("i < _count", "vlist", 72);
    }

    void grow() {
        const uint32_t capacity = _capacity == 0 ? 16 : 2 * _capacity;
        auto data = std::make_unique<T[]>(capacity);
        for (uint32_t i = 0; i < _count; ++i)
            data[i] = std::move(_data[i]);
        _data = std::move(data);
        _capacity = capacity;
    }

    std::unique_ptr<T[]> _data;
    uint32_t _capacity = 0;
    uint32_t _count = 0;
};
