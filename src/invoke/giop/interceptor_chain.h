#pragma once

#include "base/list.h"
#include "base/refcount.h"
#include "invoke/giop/closure.h"

#include <memory>
#include <type_traits>

namespace harbolance {

// Calls a step of one member. Returns whether to continue: the step's result, or true if it has none.
template <class Step, class Member>
bool makeStep(Step& step, Member& member, TRXClosure& closure) {
    if constexpr (std::is_void_v<decltype(step(member, closure))>) {
        step(member, closure);
        return true;
    } else {
        return step(member, closure);
    }
}

// The members of a chain that take part in one exchange, with the data of each. The first step stores it in
// the closure of the exchange's caller; all later steps use it. So a member added during the exchange is not
// called for it, and one that is removed is still told of its end.
template <class Member>
class ClosureList final : public TRXClosureData {
public:
    // The record of the exchange, null before its first step.
    static ClosureList* of(TRXClosure& closure) { return static_cast<ClosureList*>(closure.data()); }

    // Starts an exchange with space for `count` members; an existing record is reused.
    static ClosureList& start(TRXClosure& closure, size_t count) {
        ClosureList* list = of(closure);
        if (!list)
            closure.data(list = new ClosureList);
        list->reset(count);
        return *list;
    }

    // Adds a member and calls `step(member, closure)` for it.
    template <class Step>
    bool enter(Member* member, Step& step) {
        Record& record = _records[_count++];
        record.member = TRXRef<Member>::duplicate(member);
        return makeStep(step, *member, record.closure);
    }

    // Calls `step(member, closure)`, first to last, for the members that have not seen the end of the
    // exchange, up to the first that has.
    template <class Step>
    void forward(Step step) {
        for (size_t i = 0; i < _count && _records[i].member; ++i)
            makeStep(step, *_records[i].member, _records[i].closure);
    }

    // The same from last to first, skipping members that have. With `last` the step is the end of the
    // exchange for each member.
    template <class Step>
    void reverse(bool last, Step step) {
        for (size_t i = _count; i-- > 0;) {
            Record& record = _records[i];
            if (!record.member)
                continue;
            const TRXRef<Member> member = record.member; // held, because the step may end the exchange
            const bool goesOn = makeStep(step, *member, record.closure);
            if (last)
                record.member = {};
            if (!goesOn)
                return;
        }
    }

private:
    struct Record {
        TRXRef<Member> member; // empty once it has seen the end
        TRXClosure closure;
    };

    void reset(size_t count) {
        if (_capacity < count) {
            _records = std::make_unique<Record[]>(count);
            _capacity = count;
        }
        for (size_t i = 0; i < _capacity; ++i) {
            _records[i].member = {};
            _records[i].closure.clear();
        }
        _count = 0;
    }

    std::unique_ptr<Record[]> _records;
    size_t _capacity = 0;
    size_t _count = 0;
};

// The members of a chain, and the steps that all kinds of chains share.
template <class Member>
class InterceptorChain {
public:
    void add(Member* member) { _members.append(TRXRef<Member>::duplicate(member)); }
    // The other members keep their order.
    void remove(Member* member) { _members.remove(TRXRef<Member>::duplicate(member)); }
    bool empty() const { return _members.count() == 0; }
    const TRXList<TRXRef<Member>>& members() const { return _members; }

    // The first step of an exchange: calls every member in order.
    template <class Step>
    void start(TRXClosure& closure, Step step) {
        if (empty())
            return;
        const TRXList<TRXRef<Member>> members = _members; // copied: a member may add and remove others
        auto& exchange = ClosureList<Member>::start(closure, members.count());
        for (const TRXRef<Member>& member : members) {
            if (!exchange.enter(member.get(), step))
                return;
        }
    }

    // Later steps; they do nothing without a first step.
    template <class Step>
    static void forward(TRXClosure& closure, Step step) {
        if (auto* exchange = ClosureList<Member>::of(closure))
            exchange->forward(step);
    }
    template <class Step>
    static void reverse(TRXClosure& closure, bool last, Step step) {
        if (auto* exchange = ClosureList<Member>::of(closure))
            exchange->reverse(last, step);
    }

private:
    TRXList<TRXRef<Member>> _members;
};

} // namespace harbolance
