#include "base/list.h"
#include "marshal/any/any.h"
#include "marshal/typecode/typecode.h"

#include <vector>

// A recursive type is a ring: a sequence in it refers to the type that it is a part of. This file closes the
// rings, and frees those that nobody refers to any longer.

namespace {

constinit bool orbStarted = false;
// The constant types that wait for the start of the ORB.
constinit TRXList<CORBA_TypeCode*>* pending = nullptr;

} // namespace

CORBA_TypeCode::CORBA_TypeCode(Raw, CORBA_TCKind kind, bool constant)
    : _kind(kind), _id(TRXNullString), _constant(constant), _counted(!constant && orbStarted) {}

void CORBA_TypeCode::_start_up() {
    if (orbStarted)
        return;
    orbStarted = true;
    const std::unique_ptr<TRXList<CORBA_TypeCode*>> waiting(std::exchange(pending, nullptr));
    for (uint32_t i = waiting ? waiting->count() : 0; i > 0; --i)
        resolve(*waiting->at(i - 1), *waiting->at(i - 1), 0);
}

// What a struct, exception or union does at the end of its construction.
void CORBA_TypeCode::resolveMembers() {
    for (CORBA_ULong i = 0; i < _members(); ++i) {
        auto& member = const_cast<CORBA_TypeCode&>(*_member(i));
        if (!_constant && resolve(member, *this, 1))
            _cyclic = true;
        _unresolved = _unresolved || member._unresolved;
    }
    if (_constant)
        awaitStartUp();
}

void CORBA_TypeCode::awaitStartUp() {
    if (orbStarted) {
        resolve(*this, *this, 0);
        return;
    }
    if (!pending)
        pending = new TRXList<CORBA_TypeCode*>;
    pending->append(this);
}

void CORBA_TypeCode::leavePending() {
    if (_constant && pending)
        pending->remove(this);
}

bool CORBA_TypeCode::isOpenRecursion(const CORBA_Any& content) { return content._type()->kind() == tk_ulong; }

// Makes `target` the content of the recursive sequences in `type` that have been waiting for a type `depth`
// levels up. True when `type` may then be part of a ring.
bool CORBA_TypeCode::resolve(CORBA_TypeCode& type, CORBA_TypeCode& target, CORBA_ULong depth) {
    if (!type._unresolved)
        return type._cyclic;
    if (type._kind == tk_sequence)
        return resolveContent(type, target, depth);
    if (type._kind != tk_struct && type._kind != tk_union)
        return type._cyclic;
    bool waiting = false;
    for (CORBA_ULong i = 0; i < type._members(); ++i) {
        auto& member = const_cast<CORBA_TypeCode&>(*type._member(i));
        if (resolve(member, target, depth + 1))
            type._cyclic = true;
        waiting = waiting || member._unresolved;
    }
    type._unresolved = waiting;
    return type._cyclic;
}

bool CORBA_TypeCode::resolveContent(CORBA_TypeCode& sequence, CORBA_TypeCode& target, CORBA_ULong depth) {
    CORBA_Any*& param = sequence._params[0];
    if (!isOpenRecursion(*param)) {
        auto& content = const_cast<CORBA_TypeCode&>(*sequence._content());
        sequence._cyclic = resolve(content, target, depth);
        sequence._unresolved = content._unresolved;
        return sequence._cyclic;
    }
    if (param->_as<CORBA_ULong>() != depth)
        return false;
    CORBA_release(param);
    param = sequence._constant ? new CORBA_Any(_tc_TypeCode, &target, 0)
                               : new CORBA_Any(_tc_TypeCode, _duplicate(&target), 1);
    sequence._unresolved = false;
    sequence._cyclic = true;
    return true;
}

void CORBA_release(CORBA_TypeCode* type) {
    if (!type || !type->_counted)
        return;
    if (--type->_ref_count < 1)
        CORBA_TypeCode::dispose(type);
    else if (type->_cyclic)
        CORBA_TypeCode::suspect(type);
}

void CORBA_TypeCode::_share_dropped(const CORBA_Any& param) {
    if (!param.release() || param._type()->kind() != tk_TypeCode)
        return;
    CORBA_TypeCode* held = param._held_type();
    if (held && std::exchange(held->_passed_over, false) && held->_cyclic)
        suspect(held);
}

namespace {

// A chain of types, each the content of the next, can be longer than the stack is deep. So what a type lets
// go of is destroyed after the type and not inside its destructor; and a ring that loses many references on
// the way is looked at once.
constinit CORBA_TypeCode* doomed = nullptr;
constinit CORBA_TypeCode* suspects = nullptr;
constinit bool settling = false;

} // namespace

void CORBA_TypeCode::dispose(CORBA_TypeCode* type) {
    type->_next = std::exchange(doomed, type);
    settle();
}

// The ring that the type is in may have lost its last reference from outside.
void CORBA_TypeCode::suspect(CORBA_TypeCode* type) {
    if (!type->_suspected) {
        type->_suspected = true;
        ++type->_ref_count;
        type->_next = std::exchange(suspects, type);
    }
    settle();
}

void CORBA_TypeCode::settle() {
    if (settling)
        return;
    settling = true;
    while (doomed || suspects) {
        if (doomed)
            delete std::exchange(doomed, doomed->_next);
        else
            collect();
    }
    settling = false;
}

CORBA_TypeCode::Releases::Releases() : _nested(std::exchange(settling, true)) {}

CORBA_TypeCode::Releases::~Releases() {
    settling = _nested;
    settle();
}

// The types that this one holds references to and that may be in a ring with it. A parameter that somebody
// else has a share of is not ours alone, and counts as a reference from outside.
template <class Visit>
void CORBA_TypeCode::forEachInRing(Visit visit) const {
    for (CORBA_ULong i = 0; i < _param_count; ++i) {
        CORBA_TypeCode* held = typeAt(i);
        if (!held || !held->_cyclic || !held->_counted || !_params[i]->release())
            continue;
        if (_params[i]->_refcount() == 1)
            visit(*held);
        else
            held->_passed_over = true;
    }
}

// When all references to the types of a ring come from types that can be reached from those under suspicion,
// nobody will ever reach them again, and they are destroyed.
void CORBA_TypeCode::collect() {
    // `_scratch` is 0 for a type that was not reached, else 1 and the references that come from the others.
    std::vector<CORBA_TypeCode*> reached;
    while (suspects) {
        suspects->_scratch = 1;
        reached.push_back(std::exchange(suspects, suspects->_next));
    }
    for (size_t i = 0; i < reached.size(); ++i) {
        reached[i]->forEachInRing([&](CORBA_TypeCode& held) {
            if (held._scratch++ == 0) {
                held._scratch = 2;
                reached.push_back(&held);
            }
        });
    }
    std::vector<CORBA_TypeCode*> alive;
    const auto spare = [&](CORBA_TypeCode& type) {
        if (type._scratch > 0) {
            type._scratch = 0;
            alive.push_back(&type);
        }
    };
    for (CORBA_TypeCode* type : reached) {
        const CORBA_ULong ours = type->_scratch - 1 + (type->_suspected ? 1 : 0);
        if (type->_scratch > 0 && static_cast<CORBA_ULong>(type->_ref_count) > ours)
            spare(*type);
    }
    while (!alive.empty()) {
        const CORBA_TypeCode* type = alive.back();
        alive.pop_back();
        type->forEachInRing(spare);
    }
    // Those that stay lose the reference that suspicion held; those that go keep one to the end.
    std::erase_if(reached, [](CORBA_TypeCode* type) {
        const bool stays = std::exchange(type->_scratch, 0) == 0;
        const bool held = std::exchange(type->_suspected, false);
        type->_cyclic = type->_cyclic && stays;
        type->_ref_count += stays ? -static_cast<CORBA_Long>(held) : static_cast<CORBA_Long>(!held);
        return stays;
    });
    for (CORBA_TypeCode* type : reached)
        type->releaseParameters();
    for (CORBA_TypeCode* type : reached)
        type->_next = std::exchange(doomed, type);
}
