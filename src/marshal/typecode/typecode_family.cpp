#include "base/list.h"
#include "marshal/limits.h"
#include "marshal/typecode/kinds.h"
#include "marshal/typecode/typecode.h"

#include <set>
#include <utility>

using namespace harbolance;

// Lifetime of types. A recursive type is a cycle: a sequence in it refers to the enclosing type. If the types
// of a cycle counted their references to each other, none would ever be freed. So they form a family with one
// count, of the references from outside; references inside the family are not counted.

namespace {

constinit bool orbStarted = false;
// Constant types to be resolved at the start of the ORB.
constinit TRXList<CORBA_TypeCode*>* pending = nullptr;

} // namespace

CORBA_TypeCode::CORBA_TypeCode(Raw, CORBA_TCKind kind, bool constant)
    : _kind(kind), _id(TRXNullString), _name(nullptr), _constant(constant),
      _counted(!constant && orbStarted) {
    // `_counted` is false before the start-up: types made by static objects live until the process ends.
    if (kind == tk_union)
        _labels = std::make_unique<Labels>();
}

CORBA_TypeCode::~CORBA_TypeCode() {
    // Removed from the pending list, so that the start-up does not use a destroyed type.
    if (_constant && pending)
        pending->remove(this);
    releaseParts();
    for (const Member& member : _members)
        CORBA_string_free(member.name);
    CORBA_string_free(_name);
    CORBA_string_free(_id);
}

void CORBA_TypeCode::startUp() {
    if (orbStarted)
        return;
    // Set first, so that types resolved below are not made pending again.
    orbStarted = true;
    const std::unique_ptr<TRXList<CORBA_TypeCode*>> waiting(std::exchange(pending, nullptr));
    // The protocol demands reverse order.
    for (uint32_t i = waiting ? waiting->count() : 0; i > 0; --i)
        waiting->at(i - 1)->resolve();
}

template <class Visit>
void CORBA_TypeCode::forEachPart(Visit visit) const {
    if (_content)
        visit(*_content);
    for (const Member& member : _members) {
        if (member.type)
            visit(*member.type);
    }
    if (_labels) {
        for (const Label& label : _labels->labels)
            visit(*label.type);
    }
}

// Makes the new type `target` the content of the recursive sequences in it that wait for it, and moves all
// types that then form a cycle with it into its family.
class CORBA_TypeCode::Resolution {
public:
    explicit Resolution(CORBA_TypeCode& target) : _target(target) {}

    void run() {
        visit(_target, 0, true);
        joinFamily();
        discountInside();
    }

private:
    void visit(CORBA_TypeCode& type, CORBA_ULong depth, bool byRule);
    void close(CORBA_TypeCode& sequence);
    void visitParts(CORBA_TypeCode& type, CORBA_ULong depth, bool byRule);
    void joinFamily();
    bool leadsInside(const CORBA_TypeCode& type) const;
    void join(CORBA_TypeCode& type);
    void discountInside();
    bool isInside(const CORBA_TypeCode& type) const { return type._head == &_target; }
    CORBA_Long origin(const CORBA_TypeCode& type) const { return &type == &_target ? 0 : type._ref_count; }

    CORBA_TypeCode& _target;
    std::set<std::pair<const CORBA_TypeCode*, CORBA_ULong>> _visited;
    std::vector<CORBA_TypeCode*> _candidates; // for the family; each after its parts
    CORBA_Long _joined = 0;
};

// Only sequences reached `byRule` are resolved: through members of structs and unions, each one level, and
// sequences in sequences; also recursive sequences that ask for it. Other types are visited too, because they
// may lead to the target.
void CORBA_TypeCode::Resolution::visit(CORBA_TypeCode& type, CORBA_ULong depth, bool byRule) {
    // No sequence waits below such a type. Visits not `byRule` do not depend on the depth, so one is enough.
    if (!type._waits || !_visited.insert({&type, byRule ? depth : UINT32_MAX}).second)
        return;
    const OwnNesting nesting;
    if (type._kind != tk_sequence || type._content)
        visitParts(type, depth, byRule);
    else if ((byRule || type._behind_arrays) && type._offset == depth)
        close(type);
    _candidates.push_back(&type);
}

void CORBA_TypeCode::Resolution::close(CORBA_TypeCode& sequence) {
    sequence._content = sequence._constant ? &_target : _duplicate(&_target);
    sequence._waits = false;
}

void CORBA_TypeCode::Resolution::visitParts(CORBA_TypeCode& type, CORBA_ULong depth, bool byRule) {
    // The target counts as a level even if it is an exception.
    const bool isRecord = type._kind == tk_struct || type._kind == tk_union || &type == &_target;
    const bool isNested = type._kind == tk_sequence && type._content->_kind == tk_sequence;
    bool waits = false;
    type.forEachPart([&](CORBA_TypeCode& part) {
        visit(part, depth + (isRecord ? 1 : 0), byRule && (isRecord || isNested));
        waits = waits || part._waits;
    });
    type._waits = waits;
}

void CORBA_TypeCode::Resolution::joinFamily() {
    bool changed = true;
    // A type joins when one of its parts has joined; a type listed before its parts needs another pass.
    while (std::exchange(changed, false)) {
        for (CORBA_TypeCode* type : _candidates) {
            if (type->_counted && !isInside(*type) && leadsInside(*type)) {
                join(*type);
                changed = true;
            }
        }
    }
    // In a cycle all types wait if one of them does.
    for (CORBA_TypeCode* type = &_target; type; type = type->_next)
        type->_waits = _target._waits;
}

bool CORBA_TypeCode::Resolution::leadsInside(const CORBA_TypeCode& type) const {
    bool leads = false;
    type.forEachPart([&](const CORBA_TypeCode& part) { leads = leads || isInside(part); });
    return leads;
}

// Moves the whole family of the type. Until `discountInside`, the now unused counts of its types store the
// number of the family that they came from.
void CORBA_TypeCode::Resolution::join(CORBA_TypeCode& type) {
    CORBA_TypeCode* const first = type._head;
    // The references from outside to both families now count for the joined one.
    _target._ref_count += first->_ref_count;
    ++_joined;
    CORBA_TypeCode* last = nullptr;
    for (CORBA_TypeCode* next = first; next; next = next->_next) {
        next->_head = &_target;
        next->_ref_count = _joined;
        last = next;
    }
    last->_next = std::exchange(_target._next, first);
}

// References between types from different families were counted but are now internal, so they are subtracted.
void CORBA_TypeCode::Resolution::discountInside() {
    for (CORBA_TypeCode* type = _joined > 0 ? &_target : nullptr; type; type = type->_next) {
        type->forEachPart([&](const CORBA_TypeCode& part) {
            // Inside one former family references were never counted.
            if (isInside(part) && origin(*type) != origin(part))
                --_target._ref_count;
        });
    }
}

// A constant type is resolved at the ORB's start-up, because its parts may not be constructed earlier.
void CORBA_TypeCode::resolve() {
    if (_constant && !orbStarted) {
        if (!pending)
            pending = new TRXList<CORBA_TypeCode*>;
        pending->append(this);
    } else if (_waits) {
        Resolution(*this).run();
    }
}

void CORBA_release(CORBA_TypeCode* type) {
    // Types that are not counted live until the process ends.
    if (type && type->_counted && --type->_head->_ref_count < 1)
        CORBA_TypeCode::destroyFamily(type->_head);
}

// Releases the references to types of other families.
void CORBA_TypeCode::releaseParts() {
    if (!_constant) {
        forEachPart([this](CORBA_TypeCode& part) {
            // A reference inside the family was never counted.
            if (part._head != _head)
                CORBA_release(&part);
        });
    }
    // Cleared, so that the destructor does not release them again.
    _content = nullptr;
    _labels.reset();
    for (Member& member : _members)
        member.type = nullptr;
}

// Iterative, because a chain of types, each the content of the next, may be too long for recursion. The
// families waiting for destruction are linked by the `_head` of their first types, which is no longer needed.
void CORBA_TypeCode::destroyFamily(CORBA_TypeCode* head) {
    static constinit CORBA_TypeCode* doomed = nullptr;
    static constinit bool destroying = false;
    head->_head = std::exchange(doomed, head);
    // Called for a family whose last reference was in the one being destroyed; the outer loop destroys it.
    if (destroying)
        return;
    destroying = true;
    while (CORBA_TypeCode* family = doomed) {
        doomed = std::exchange(family->_head, family);
        // First all references are released: `releaseParts` compares heads, for which all types must still
        // exist.
        for (CORBA_TypeCode* type = family; type; type = type->_next)
            type->releaseParts();
        while (family)
            delete std::exchange(family, family->_next);
    }
    destroying = false;
}
