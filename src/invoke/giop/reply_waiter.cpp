#include "invoke/giop/reply_waiter.h"

#include <algorithm>

namespace harbolance {

WaiterTable::~WaiterTable() {
    for (uint32_t i = _waiters.next(0); i < _waiters.capacity(); i = _waiters.next(i + 1)) {
        if (_waiters.slot(i)->on_heap)
            delete _waiters.slot(i);
    }
}

[[gnu::hot]] void WaiterTable::add(TRXReplyWaiter* waiter) {
    if (!_waiters.insert(waiter).added)
        throw CORBA_BAD_PARAM();
}

[[gnu::hot]] TRXReplyWaiter& WaiterTable::find(CORBA_ULong id) const {
    TRXReplyWaiter* const* found = _waiters.find(id);
    if (!found)
        throw CORBA_OBJECT_NOT_EXIST();
    return **found;
}

[[gnu::hot]] void WaiterTable::abandon(CORBA_ULong id) {
    constexpr size_t most = 1024;
    const TRXReplyWaiter* waiter = _waiters.take(id);
    const bool waits = waiter && waiter->state == TRXReplyWaiter::WAITING;
    if (waiter && waiter->on_heap)
        delete waiter;
    if (!waits)
        return;
    if (_abandoned.size() == most)
        _abandoned.erase(_abandoned.begin());
    _abandoned.push_back(id);
}

bool WaiterTable::forget(CORBA_ULong id) {
    const auto found = std::find(_abandoned.begin(), _abandoned.end(), id);
    if (found == _abandoned.end())
        return false;
    _abandoned.erase(found);
    return true;
}

[[gnu::hot]] void WaiterTable::deliver(CORBA_ULong id, TRXGIOPMessage* reply) {
    TRXReplyWaiter* const* found = _waiters.find(id);
    if (!found) {
        if (!forget(id))
            throw CORBA_OBJECT_NOT_EXIST();
        return;
    }
    (*found)->reply = TRXRef<TRXGIOPMessage>::duplicate(reply);
    (*found)->state = TRXReplyWaiter::REPLY_RECEIVED;
}

void WaiterTable::failAll(const CORBA_Exception& exception) {
    for (uint32_t i = _waiters.next(0); i < _waiters.capacity(); i = _waiters.next(i + 1)) {
        TRXReplyWaiter& waiter = *_waiters.slot(i);
        if (waiter.state != TRXReplyWaiter::WAITING)
            continue;
        waiter.exception.reset(exception._copy());
        waiter.state = TRXReplyWaiter::EXCEPTION;
    }
}

} // namespace harbolance
