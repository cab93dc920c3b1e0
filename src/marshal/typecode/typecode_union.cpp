#include "marshal/any/any_access.h"
#include "marshal/typecode/kinds.h"
#include "marshal/typecode/typecode.h"

#include <algorithm>
#include <numeric>

using namespace harbolance;

// The labels of a union, and the member that a discriminator selects.

void CORBA_TypeCode::addLabel(CORBA_TypeCode* type, uint64_t value) {
    _labels->labels.push_back({type, value});
}

// Sorts the labels by value, equal ones in their original order. A label whose type differs from the
// discriminator, usually that of the default member, never matches and is left out.
void CORBA_TypeCode::orderLabels() {
    const std::vector<Label>& labels = _labels->labels;
    std::vector<CORBA_ULong>& order = _labels->by_value;
    order.resize(labels.size());
    std::iota(order.begin(), order.end(), 0);
    std::erase_if(order, [&](CORBA_ULong i) { return compare(labels[i].type, _content) != 0; });
    std::stable_sort(order.begin(), order.end(),
                     [&](CORBA_ULong a, CORBA_ULong b) { return labels[a].value < labels[b].value; });
}

const CORBA_TypeCode* CORBA_TypeCode::memberFor(uint64_t discriminator) const {
    const std::vector<CORBA_ULong>& order = _labels->by_value;
    const auto valueOf = [this](CORBA_ULong i) { return _labels->labels[i].value; };
    // Binary search, because a union may have thousands of labels and each of its values needs a look-up.
    const auto found = std::ranges::lower_bound(order, discriminator, {}, valueOf);
    if (found != order.end() && valueOf(*found) == discriminator)
        return _members[*found].type;
    if (_labels->default_index < 0)
        throw CORBA_BAD_PARAM();
    return _members[static_cast<CORBA_ULong>(_labels->default_index)].type;
}

CORBA_Any* CORBA_TypeCode::labelAt(CORBA_ULong index) const {
    const Label& label = _labels->labels[index];
    auto any = std::make_unique<CORBA_Any>();
    // The label keeps its own type, including aliases.
    forBasicKind(label.type->unaliased()->_kind, [&]<class T>(std::type_identity<T>) {
        T value;
        std::memcpy(&value, &label.value, sizeof value);
        AnyAccess::store(*any, label.type, value);
    });
    return any.release();
}
