#pragma once

#include "marshal/exception/vexcept.h"
#include "marshal/generated/array.h"

#include <algorithm>
#include <memory>
#include <new>
#include <tuple>
#include <utility>

namespace harbolance {

// An array as the branch of a union.
template <class Array>
struct ArrayBranch {
    Array array{};

    ArrayBranch() = default;
    explicit ArrayBranch(const SliceOf<Array>* from) { copyArray<Array>(array, from); }
};
template <class Array>
TRXostream& operator<<(TRXostream& stream, const ArrayBranch<Array>& branch) {
    return stream << elements(branch.array);
}
template <class Array>
TRXistream& operator>>(TRXistream& stream, ArrayBranch<Array>& branch) {
    return stream >> elements(branch.array);
}

// For an accessor that is passed an object reference: makes another reference.
template <class T>
T* duplicated(T* object) {
    return T::_duplicate(object);
}

// Special results beside branch indices: a value without a branch, and a discriminator that is not allowed.
constexpr size_t noBranch = SIZE_MAX;
constexpr size_t notAllowed = SIZE_MAX - 1;

// The value of a union: a discriminator and the branch that it selects, which only change together.
// `branchOf` is a function from a discriminator to the index of its branch.
//
// The branch is constructed in place. A std::variant would need the complete types of the branches at its
// declaration, where a branch of the enclosing class is still incomplete.
template <auto branchOf, class... Branches>
class UnionValue {
    template <class D>
    static D argumentOf(size_t (*)(D));
    template <size_t index>
    using Branch = std::tuple_element_t<index, std::tuple<Branches...>>;
    using Indices = std::index_sequence_for<Branches...>;

public:
    using Discriminator = decltype(argumentOf(branchOf));

    // Constructs the first branch, with its first label.
    explicit UnionValue(Discriminator discriminator) { construct<0>(discriminator); }
    UnionValue(const UnionValue& other) { constructFrom(other); }
    UnionValue(UnionValue&& other) noexcept { constructFrom(std::move(other)); }
    ~UnionValue() { destroy(); }

    UnionValue& operator=(const UnionValue& other) { return *this = UnionValue(other); }
    UnionValue& operator=(UnionValue&& other) noexcept {
        if (this != &other) {
            destroy();
            constructFrom(std::move(other));
        }
        return *this;
    }

    Discriminator discriminator() const { return _discriminator; }
    // Sets another label of the present branch. Any other change raises CORBA_BAD_PARAM.
    void relabel(Discriminator discriminator) {
        // A label of another branch would give the present value a wrong type.
        if (branchOf(discriminator) != _index)
            throw CORBA_BAD_PARAM();
        _discriminator = discriminator;
    }

    // Raises CORBA_BAD_PARAM unless this is the present branch.
    template <size_t index>
    const Branch<index>& get() const {
        if (_index != index)
            throw CORBA_BAD_PARAM();
        // `_index` guarantees that the octets hold an object of this type; `launder` tells the compiler.
        return *std::launder(reinterpret_cast<const Branch<index>*>(_octets));
    }
    template <size_t index>
    Branch<index>& get() {
        return const_cast<Branch<index>&>(std::as_const(*this).template get<index>());
    }
    template <size_t index, class... Value>
    void set(Discriminator discriminator, Value&&... value) {
        Branch<index> made(std::forward<Value>(value)...); // first: `value` may be in the present branch
        destroy();
        construct<index>(discriminator, std::move(made));
    }
    void setNoBranch(Discriminator discriminator) {
        destroy();
        _discriminator = discriminator;
    }

    void write(TRXostream& stream) const {
        stream << _discriminator;
        visit(
            *this, [&](const auto& branch) { stream << branch; }, Indices());
    }
    // A discriminator that is not allowed raises CORBA_BAD_PARAM and changes nothing. The branch is
    // overwritten when it stays the same.
    void read(TRXistream& stream) {
        Discriminator discriminator{};
        stream >> discriminator;
        // Tested before the present branch is destroyed.
        if (branchOf(discriminator) == notAllowed)
            throw CORBA_BAD_PARAM();
        // A branch that stays the same is read over, so that its memory is reused.
        become(discriminator, Indices());
        visit(
            *this, [&](auto& branch) { stream >> branch; }, Indices());
    }

private:
    template <class Self, class Visit, size_t... index>
    static void visit(Self& self, Visit visit, std::index_sequence<index...>) {
        // The index is known at run time only, so it is compared with each index; the first equal one ends
        // the expression.
        (void)((index == self._index && (visit(self.template get<index>()), true)) || ...);
    }

    template <size_t index, class... Value>
    void construct(Discriminator discriminator, Value&&... value) {
        new (_octets) Branch<index>(std::forward<Value>(value)...);
        _index = index;
        _discriminator = discriminator;
    }
    // Call only while there is no branch. The branch is copied or moved, depending on the category of
    // `other`.
    template <class Other>
    void constructFrom(Other&& other) {
        const auto take = [&](auto& branch) -> decltype(auto) {
            if constexpr (std::is_const_v<std::remove_reference_t<Other>>)
                return (branch);
            else
                return std::move(branch);
        };
        constructBranch(other, take, Indices());
        _discriminator = other._discriminator;
    }
    template <class Other, class Take, size_t... index>
    void constructBranch(Other& other, Take take, std::index_sequence<index...>) {
        (void)((index == other._index &&
                (construct<index>(other._discriminator, take(other.template get<index>())), true)) ||
               ...);
    }
    void destroy() {
        visit(
            *this, [](auto& branch) { std::destroy_at(&branch); }, Indices());
        // Set at once, so that this is a value without a branch if constructing the next one raises.
        _index = noBranch;
    }

    template <size_t... index>
    void become(Discriminator discriminator, std::index_sequence<index...>) {
        const size_t wanted = branchOf(discriminator);
        if (wanted == noBranch)
            setNoBranch(discriminator);
        else if (wanted == _index)
            _discriminator = discriminator;
        else
            (void)((index == wanted && (set<index>(discriminator), true)) || ...);
    }

    Discriminator _discriminator;
    size_t _index = noBranch;
    alignas(Branches...) unsigned char _octets[std::max({sizeof(Branches)...})];
};

} // namespace harbolance
