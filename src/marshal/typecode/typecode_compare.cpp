#include "base/hash_table.h"
#include "marshal/any/any.h"
#include "marshal/cdr/nesting.h"
#include "marshal/typecode/typecode.h"

#include <algorithm>
#include <optional>

using namespace harbolance;

namespace {

struct SeenTraits : GrowAtNineTenths {
    using Entry = const CORBA_TypeCode*;
    static bool isFree(Entry type) { return type == nullptr; }
    static uint32_t hash(Entry type) { return pointerHash(type); }
    static bool equal(Entry stored, Entry type) { return stored == type; }
};

// The walk over two types at once. Types that have both been met before count as equal, which ends the walk
// of recursive types and keeps it linear where a type is used many times.
class Comparison {
public:
    int walk(const CORBA_TypeCode* a, const CORBA_TypeCode* b);

private:
    int walkParameters(const CORBA_TypeCode& a, const CORBA_TypeCode& b);
    bool bothSeen(const CORBA_TypeCode* a, const CORBA_TypeCode* b) const {
        return _seen && _seen->find(a) && _seen->find(b);
    }

    std::optional<HashTable<SeenTraits>> _seen; // most types need none
};

int Comparison::walk(const CORBA_TypeCode* a, const CORBA_TypeCode* b) {
    if (a == b)
        return 0;
    if (!a || !b)
        return a ? 1 : -1;
    a = a->_unaliased();
    b = b->_unaliased();
    if (a->kind() != b->kind())
        return static_cast<int>(a->kind() - b->kind());
    if (a->param_count() != b->param_count())
        return static_cast<int>(a->param_count() - b->param_count());
    if (a == b || a->param_count() == 0 || a->kind() == tk_objref || a->kind() == tk_except)
        return 0;
    const TRXNesting nesting;
    return walkParameters(*a, *b);
}

int Comparison::walkParameters(const CORBA_TypeCode& a, const CORBA_TypeCode& b) {
    const bool mayBeLong = a.kind() != tk_string && a.kind() != tk_wstring;
    if (mayBeLong) {
        if (!_seen)
            _seen.emplace(16);
        _seen->insert(&a);
        _seen->insert(&b);
    }
    const bool isUnion = a.kind() == tk_union;
    for (CORBA_ULong i = 0; i < a.param_count(); ++i) {
        const CORBA_Any& left = a._parameter(i);
        const CORBA_Any& right = b._parameter(i);
        int order = 0;
        if (left._type()->kind() == tk_TypeCode && right._type()->kind() == tk_TypeCode) {
            if (!bothSeen(left._held_type(), right._held_type()))
                order = walk(left._held_type(), right._held_type());
        } else if (isUnion && left._type() == a._discriminator() && right._type() == b._discriminator()) {
            order = CORBA_Any::_compare_values(left, right); // their types have just been found equal
        } else {
            order = CORBA_Any::compare(left, right);
        }
        if (order != 0)
            return order;
    }
    return 0;
}

// The value of a label, which is of a kind of at most 8 octets.
uint64_t labelBits(const CORBA_Any& label) {
    uint64_t bits = 0;
    const auto size = static_cast<size_t>(std::clamp(label.length(), CORBA_Long{0}, CORBA_Long{8}));
    if (size > 0)
        std::memcpy(&bits, label._representation(), size);
    return bits;
}

// Unions with more members than this are searched by halving.
constexpr CORBA_ULong fewMembers = 16;

} // namespace

int CORBA_TypeCode::compare(const CORBA_TypeCode* a, const CORBA_TypeCode* b) {
    return a == b ? 0 : Comparison().walk(a, b);
}

CORBA_ULong CORBA_TypeCode::hash() const {
    CORBA_ULong hash = _kind ^ _param_count;
    for (CORBA_ULong i = 0; i < _param_count; ++i)
        hash ^= _params[i]->hash();
    return hash;
}

CORBA_ULong CORBA_TypeCode::hash(CORBA_ULong maximum) const {
    return maximum == 0 ? hash() : hash() % maximum;
}

const CORBA_TypeCode* CORBA_TypeCode::_member_for_label(const CORBA_Any& discriminator) const {
    CORBA_Long index = memberWithLabel(discriminator);
    if (index < 0)
        index = _default_index;
    if (index < 0)
        throw CORBA_BAD_PARAM();
    return _member(static_cast<CORBA_ULong>(index));
}

CORBA_Long CORBA_TypeCode::memberWithLabel(const CORBA_Any& discriminator) const {
    const auto label = [this](CORBA_ULong i) -> const CORBA_Any& { return *_params[2 + 3 * i]; };
    const CORBA_ULong count = _members();
    if (count <= fewMembers || discriminator._type() != _discriminator()) {
        for (CORBA_ULong i = 0; i < count; ++i) {
            if (CORBA_Any::compare(label(i), discriminator) == 0)
                return static_cast<CORBA_Long>(i);
        }
        return -1;
    }
    if (!_by_label)
        orderLabels();
    const CORBA_ULong* end = _by_label.get() + _by_label_count;
    const uint64_t bits = labelBits(discriminator);
    const CORBA_ULong* found =
        std::lower_bound(static_cast<const CORBA_ULong*>(_by_label.get()), end, bits,
                         [&](CORBA_ULong i, uint64_t value) { return labelBits(label(i)) < value; });
    return found != end && labelBits(label(*found)) == bits ? static_cast<CORBA_Long>(*found) : -1;
}

// Of labels with one value the first comes first. A label of another type than the discriminator never
// matches and is left out.
void CORBA_TypeCode::orderLabels() const {
    const CORBA_TypeCode* discriminator = _discriminator();
    auto order = std::make_unique<CORBA_ULong[]>(_members());
    CORBA_ULong count = 0;
    for (CORBA_ULong i = 0; i < _members(); ++i) {
        if (compare(_params[2 + 3 * i]->_type(), discriminator) == 0)
            order[count++] = i;
    }
    std::stable_sort(order.get(), order.get() + count, [this](CORBA_ULong a, CORBA_ULong b) {
        return labelBits(*_params[2 + 3 * a]) < labelBits(*_params[2 + 3 * b]);
    });
    _by_label = std::move(order);
    _by_label_count = count;
}
