#pragma once

#include "base/free_list.h"
#include "base/hash_table.h"
#include "invoke/giop/giop_message.h"
#include "marshal/exception/vexcept.h"

#include <memory>
#include <vector>

// One outstanding request. It lives in the frame of the call that waits for it, or on the heap when the
// caller comes back for the reply later.
class TRXReplyWaiter : public harbolance::FreeListed<TRXReplyWaiter> {
public:
    enum State : CORBA_ULong { WAITING = 1, REPLY_RECEIVED = 3, EXCEPTION = 4 };

    explicit TRXReplyWaiter(CORBA_ULong requestId, bool onHeap = false) : id(requestId), on_heap(onHeap) {}
    TRXReplyWaiter(const TRXReplyWaiter&) = delete;
    TRXReplyWaiter& operator=(const TRXReplyWaiter&) = delete;

    CORBA_ULong id;
    TRXRef<TRXGIOPMessage> reply;
    std::unique_ptr<CORBA_Exception> exception;
    State state = WAITING;
    bool on_heap; // owned by the table
};

namespace harbolance {

// The outstanding requests of one connection, by id, and the ids of those that were given up: their replies
// may still come.
class WaiterTable {
public:
    WaiterTable() = default;
    WaiterTable(const WaiterTable&) = delete;
    WaiterTable& operator=(const WaiterTable&) = delete;
    ~WaiterTable();

    // An id that is in the table raises CORBA_BAD_PARAM.
    void add(TRXReplyWaiter* waiter);
    // An id that is not in the table raises CORBA_OBJECT_NOT_EXIST.
    TRXReplyWaiter& find(CORBA_ULong id) const;
    // Takes the waiter out, and destroys it when it is on the heap; an unknown id is passed over. A reply
    // that is still to come will be dropped.
    void abandon(CORBA_ULong id);

    // Hands the reply to its waiter. That of an abandoned request is dropped; any other unknown id raises
    // CORBA_OBJECT_NOT_EXIST.
    void deliver(CORBA_ULong id, TRXGIOPMessage* reply);
    // Every waiter that still waits fails with a copy of the exception.
    void failAll(const CORBA_Exception& exception);

    bool empty() const { return _waiters.size() == 0; }

private:
    struct Traits : GrowWhenFull {
        using Entry = TRXReplyWaiter*;
        static bool isFree(Entry entry) { return !entry; }
        static uint32_t hash(CORBA_ULong id) { return id; }
        static uint32_t hash(Entry entry) { return entry->id; }
        static bool equal(Entry stored, CORBA_ULong id) { return stored->id == id; }
        static bool equal(Entry stored, Entry entry) { return stored->id == entry->id; }
    };

    bool forget(CORBA_ULong id);

    HashTable<Traits> _waiters{16};
    std::vector<CORBA_ULong> _abandoned; // the last ones, oldest first
};

// A request that has entered the table, while a call deals with it: gives it up however the call ends, unless
// the request stays with its caller.
class OutstandingRequest {
public:
    OutstandingRequest(WaiterTable& table, CORBA_ULong id) : _table(table), _id(id) {}
    OutstandingRequest(const OutstandingRequest&) = delete;
    OutstandingRequest& operator=(const OutstandingRequest&) = delete;
    ~OutstandingRequest() {
        if (!_stays)
            _table.abandon(_id);
    }
    void stays() { _stays = true; }

private:
    WaiterTable& _table;
    CORBA_ULong _id;
    bool _stays = false;
};

} // namespace harbolance
