#pragma once

#include "base/free_list.h"
#include "base/hash_table.h"
#include "invoke/giop/giop_message.h"
#include "marshal/exception/vexcept.h"

#include <memory>
#include <vector>

// One outstanding request. It is on the stack of the call that waits for it, or on the heap when the caller
// takes the reply later.
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

// The outstanding requests of one connection, by id, and the ids of abandoned requests, whose replies may
// still arrive.
class WaiterTable {
public:
    WaiterTable() = default;
    WaiterTable(const WaiterTable&) = delete;
    WaiterTable& operator=(const WaiterTable&) = delete;
    ~WaiterTable();

    // Raises CORBA_BAD_PARAM for an id that is in the table.
    void add(TRXReplyWaiter* waiter);
    // Raises CORBA_OBJECT_NOT_EXIST for an id that is not in the table.
    TRXReplyWaiter& find(CORBA_ULong id) const;
    // Removes the waiter, and destroys it if it is on the heap; an unknown id is ignored. A reply that
    // arrives later is dropped.
    void abandon(CORBA_ULong id);

    // Gives the reply to its waiter. The reply to an abandoned request is dropped; any other unknown id
    // raises CORBA_OBJECT_NOT_EXIST.
    void deliver(CORBA_ULong id, TRXGIOPMessage* reply);
    // Fails every waiter that has no reply yet, with a copy of the exception.
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
    std::vector<CORBA_ULong> _abandoned; // the most recent ones, oldest first
};

// Guards a request that has entered the table: abandons it when the call ends in any way, unless it is left
// to the caller.
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
