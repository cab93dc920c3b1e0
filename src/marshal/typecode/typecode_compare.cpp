#include "marshal/typecode/typecode_compare.h"

#include "marshal/limits.h"
#include "marshal/typecode/kinds.h"
#include "marshal/typecode/typecode_access.h"

using namespace harbolance;

namespace {

// The order of two numbers is that of their octets in memory.
template <class T>
int compareNumbers(T a, T b) {
    const int order = std::memcmp(&a, &b, sizeof a);
    return (order > 0) - (order < 0);
}

bool isEqualByKind(CORBA_TCKind kind) { return kind == tk_objref || kind == tk_except; }

// Whether types of the kind are made of types, so that a walk can come back to them.
bool hasParts(CORBA_TCKind kind) { return isConstructed(kind) || kind == tk_enum; }

} // namespace

int CORBA_TypeCode::compare(const CORBA_TypeCode* a, const CORBA_TypeCode* b) {
    // The common case first: most types that are compared are one object.
    return a == b ? 0 : TypeComparison().compare(a, b);
}

int TypeComparison::compare(const CORBA_TypeCode* a, const CORBA_TypeCode* b) {
    const size_t joined = _joined.size();
    const uint64_t steps = _steps;
    const int order = walk(a, b);
    // Assumptions about equal pairs that led to a difference are worth nothing.
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
    // An alias is the type that it stands for.
    a = &TypeCodeAccess::unaliased(*a);
    b = &TypeCodeAccess::unaliased(*b);
    if (a->kind() != b->kind())
        return static_cast<int>(a->kind() - b->kind());
    const bool mayDiffer = a->kind() == tk_fixed || // which may come without its digits
                           TypeCodeAccess::memberCount(*a) != TypeCodeAccess::memberCount(*b);
    // Counted only where the kind leaves it open.
    if (mayDiffer && a->param_count() != b->param_count())
        return static_cast<int>(a->param_count() - b->param_count());
    // Behind the aliases both may be one object.
    if (a == b || (!_asWritten && isEqualByKind(a->kind())))
        return 0;
    // Of one class already: this pair has been met, or follows from pairs that have. The walk ends here.
    if (hasParts(a->kind()) && !unite(*a, *b))
        return 0;
    const OwnNesting nesting;
    return walkParts(*a, *b);
}

// In the order of the parameters. The first difference decides.
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

// False when the two are of one class already.
bool TypeComparison::unite(const CORBA_TypeCode& a, const CORBA_TypeCode& b) {
    if (!_classes) {
        _classes.emplace(4);
        _joined.reserve(8);
    }
    _classes->insert({&a, &a, 1}); // before the other, or the table might grow and move it
    Class* large = &classOf(b);
    Class* small = &classOf(a);
    if (large == small)
        return false;
    // The smaller joins the larger, so that a path to the representative has as many steps as the size has
    // bits.
    if (large->size < small->size)
        std::swap(large, small);
    large->size += small->size;
    small->parent = large->type;
    _joined.push_back(small->type);
    return true;
}

TypeComparison::Class& TypeComparison::classOf(const CORBA_TypeCode& type) {
    Class* found = _classes->insert({&type, &type, 1}).entry;
    // Paths are not shortened: `separate` has to find them as they were.
    while (found->parent != found->type)
        found = _classes->find(found->parent);
    return *found;
}

// Undoes what was joined behind the first `joined` of them.
void TypeComparison::separate(size_t joined) {
    // The last one first, so that sizes go back step by step.
    for (; _joined.size() > joined; _joined.pop_back()) {
        Class* small = _classes->find(_joined.back());
        _classes->find(small->parent)->size -= small->size;
        small->parent = small->type;
    }
}
