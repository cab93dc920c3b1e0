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

// For an accessor that is handed a reference: one more of it.
template <class T>
T* duplicated(T* object) {
    return T::_duplicate(object);
}

// Beside the indices of branches: a value without a branch, and a discriminator that no value can have.
constexpr size_t noBranch = SIZE_MAX;
constexpr size_t notAllowed = SIZE_MAX - 1;

// The value of a union: a discriminator and the branch that it selects, which change together only.
// `branchOf` is a function that says which branch a discriminator selects.
//
// The branch is constructed in place. A std::variant would want to know at its declaration how the branches
// are constructed, which C++ cannot tell while the class that they are declared in has no end yet.
template <auto branchOf, class... Branches>
class UnionValue {
    template <class D>
    static D argumentOf(size_t (*)(D));
    template <size_t index>
    using Branch = std::tuple_element_t<index, std::tuple<Branches...>>;
    using Indices = std::index_sequence_for<Branches...>;

public:
    using Discriminator = decltype(argumentOf(branchOf));

    // The first branch, with its first label.
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
    // To another label of the branch that there is. Any other change raises CORBA_BAD_PARAM.
    void relabel(Discriminator discriminator) {
        // A label of another branch would make the value that is there one of a wrong type.
        if (branchOf(discriminator) != _index)
            throw CORBA_BAD_PARAM();
        _discriminator = discriminator;
    }

    // Another branch than there is raises CORBA_BAD_PARAM.
    template <size_t index>
    const Branch<index>& get() const {
        if (_index != index)
            throw CORBA_BAD_PARAM();
        // The octets hold an object of exactly this type, as `_index` says; `launder` tells the compiler so.
        return *std::launder(reinterpret_cast<const Branch<index>*>(_octets));
    }
    template <size_t index>
    Branch<index>& get() {
        return const_cast<Branch<index>&>(std::as_const(*this).template get<index>());
    }
    template <size_t index, class... Value>
    void set(Discriminator discriminator, Value&&... value) {
        Branch<index> made(std::forward<Value>(value)...); // from the value at hand, perhaps
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
    // A discriminator that no value can have raises CORBA_BAD_PARAM and changes nothing. A branch that is
    // there is overwritten by what is read.
    void read(TRXistream& stream) {
        Discriminator discriminator{};
        stream >> discriminator;
        // Before the branch that is there is given up.
        if (branchOf(discriminator) == notAllowed)
            throw CORBA_BAD_PARAM();
        // A branch that stays is read over, which spares memory that it has already.
        become(discriminator, Indices());
        visit(
            *this, [&](auto& branch) { stream >> branch; }, Indices());
    }

private:
    template <class Self, class Visit, size_t... index>
    static void visit(Self& self, Visit visit, std::index_sequence<index...>) {
        // The number of the branch is known at run time only: each is compared, and the first that fits ends
        // it.
        (void)((index == self._index && (visit(self.template get<index>()), true)) || ...);
    }

    template <size_t index, class... Value>
    void construct(Discriminator discriminator, Value&&... value) {
        new (_octets) Branch<index>(std::forward<Value>(value)...);
        _index = index;
        _discriminator = discriminator;
    }
    // Only while there is no branch. The branch is copied or moved as the other value is handed in.
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
        // At once: if making the next branch raises, this is a value without one.
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
