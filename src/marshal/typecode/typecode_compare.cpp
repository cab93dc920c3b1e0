#include "marshal/typecode/typecode_compare.h"

#include "marshal/limits.h"
#include "marshal/typecode/kinds.h"
#include "marshal/typecode/typecode_access.h"

using namespace harbolance;

namespace {

// Numbers are ordered by their octets in memory.
template <class T>
int compareNumbers(T a, T b) {
    const int order = std::memcmp(&a, &b, sizeof a);
    return (order > 0) - (order < 0);
}

bool isEqualByKind(CORBA_TCKind kind) { return kind == tk_objref || kind == tk_except; }

// Whether types of the kind consist of other types, so that a traversal can come back to them.
bool hasParts(CORBA_TCKind kind) { return isConstructed(kind) || kind == tk_enum; }

} // namespace

int CORBA_TypeCode::compare(const CORBA_TypeCode* a, const CORBA_TypeCode* b) {
    // Fast path: most compared types are the same object.
    return a == b ? 0 : TypeComparison().compare(a, b);
}

int TypeComparison::compare(const CORBA_TypeCode* a, const CORBA_TypeCode* b) {
    const size_t joined = _joined.size();
    const uint64_t steps = _steps;
    const int order = walk(a, b);
    // A difference was found, so the pairs assumed to be equal on the way must be separated again.
    if (order != 0) {
        separate(joined);
        _wasted += _steps - steps;
    }
    return order;
}

int TypeComparison::walk(const CORBA_TypeCode* a, const CORBA_TypeCode* b) {
    ++_steps;
    if (a == b)
        return 0;
    if (!a || !b)
        return a ? 1 : -1;
    // Aliases are replaced by their original types.
    a = &TypeCodeAccess::unaliased(*a);
    b = &TypeCodeAccess::unaliased(*b);
    if (a->kind() != b->kind())
        return static_cast<int>(a->kind() - b->kind());
    const bool mayDiffer = a->kind() == tk_fixed || // a fixed type may have no parameters
                           TypeCodeAccess::memberCount(*a) != TypeCodeAccess::memberCount(*b);
    // The parameters are counted only if the kind does not determine their number.
    if (mayDiffer && a->param_count() != b->param_count())
        return static_cast<int>(a->param_count() - b->param_count());
    // Without aliases both may be one object.
    if (a == b || (!_asWritten && isEqualByKind(a->kind())))
        return 0;
    // Already in one class: this pair is being compared or follows from other pairs. The traversal ends here.
    if (hasParts(a->kind()) && !unite(*a, *b))
        return 0;
    const OwnNesting nesting;
    return walkParts(*a, *b);
}

// Compares in the order of the parameters; the first difference decides.
int TypeComparison::walkParts(const CORBA_TypeCode& a, const CORBA_TypeCode& b) {
    using Access = TypeCodeAccess;
    switch (a.kind()) {
    case tk_string:
    case tk_wstring: return compareNumbers(Access::length(a), Access::length(b));
    case tk_sequence:
    case tk_array: return walkContent(a, b);
    case tk_fixed:
        // Both have the same number of parameters, so neither has any.
        if (!Access::fixed(a))
            return 0;
        if (const int order = compareNumbers(Access::fixed(a)->digits, Access::fixed(b)->digits))
            return order;
        return compareNumbers(Access::fixed(a)->scale, Access::fixed(b)->scale);
    default: break;
    }
    int order = CORBA_string_compare(Access::name(a), Access::name(b));
    if (order == 0 && a.kind() == tk_union)
        order = walk(&Access::discriminator(a), &Access::discriminator(b));
    for (CORBA_ULong i = 0; order == 0 && i < Access::memberCount(a); ++i)
        order = walkMember(a, b, i);
    return order;
}

int TypeComparison::walkContent(const CORBA_TypeCode& a, const CORBA_TypeCode& b) {
    const CORBA_TypeCode* left = TypeCodeAccess::content(a);
    const CORBA_TypeCode* right = TypeCodeAccess::content(b);
    int order = 0;
    if (left && right)
        order = walk(left, right);
    else if (left ||
             right) // a type against the number that an unfinished recursive sequence has in its place
        order = left ? int{tk_TypeCode} - int{tk_ulong} : int{tk_ulong} - int{tk_TypeCode};
    else
        order = compareNumbers(TypeCodeAccess::recursionOffset(a), TypeCodeAccess::recursionOffset(b));
    return order != 0 ? order : compareNumbers(TypeCodeAccess::length(a), TypeCodeAccess::length(b));
}

int TypeComparison::walkMember(const CORBA_TypeCode& a, const CORBA_TypeCode& b, CORBA_ULong index) {
    using Access = TypeCodeAccess;
    ++_steps;
    if (a.kind() == tk_union) {
        if (const int order = walkLabel(a, b, index))
            return order;
    }
    if (const int order = CORBA_string_compare(Access::memberName(a, index), Access::memberName(b, index)))
        return order;
    return walk(Access::memberType(a, index), Access::memberType(b, index));
}

int TypeComparison::walkLabel(const CORBA_TypeCode& a, const CORBA_TypeCode& b, CORBA_ULong index) {
    using Access = TypeCodeAccess;
    if (const int order = walk(Access::labelType(a, index), Access::labelType(b, index)))
        return order;
    return compareNumbers(Access::label(a, index), Access::label(b, index));
}

// Joins the classes of the two types; false when they are already in one class.
bool TypeComparison::unite(const CORBA_TypeCode& a, const CORBA_TypeCode& b) {
    if (!_classes) {
        _classes.emplace(4);
        _joined.reserve(8);
    }
    _classes->insert({&a, &a, 1}); // inserted first, because inserting the other may move it
    Class* large = &classOf(b);
    Class* small = &classOf(a);
    if (large == small)
        return false;
    // The smaller class joins the larger, so the path to the representative is logarithmic in the size.
    if (large->size < small->size)
        std::swap(large, small);
    large->size += small->size;
    small->parent = large->type;
    _joined.push_back(small->type);
    return true;
}

TypeComparison::Class& TypeComparison::classOf(const CORBA_TypeCode& type) {
    Class* found = _classes->insert({&type, &type, 1}).entry;
    // Paths are not compressed, because `separate` needs the original structure.
    while (found->parent != found->type)
        found = _classes->find(found->parent);
    return *found;
}

// Undoes all joins after the first `joined`.
void TypeComparison::separate(size_t joined) {
    // In reverse order, so that the sizes are restored step by step.
    for (; _joined.size() > joined; _joined.pop_back()) {
        Class* small = _classes->find(_joined.back());
        _classes->find(small->parent)->size -= small->size;
        small->parent = small->type;
    }
}
