#pragma once

#include "base/hash_table.h"
#include "invoke/transport/backoff.h"
#include "marshal/reference/vior.h"

#include <chrono>
#include <memory>
#include <vector>

class CORBA_Object;

namespace harbolance {

// Agents name a dead server until they notice its end, and a live server that cannot be reached for as long
// as it lives. This class limits how often and how long such servers are tried again.
class RetryPace {
public:
    static constexpr CORBA_ULong longest = 60; // seconds

    // Call after a failure to bind `object` to one server, before the next one is tried. Returns at once when
    // `next` has not been tried yet; otherwise waits, each time longer, up to a second, and runs the event
    // loop meanwhile. False when `seconds` have been spent on the binding; 0 means the longest time.
    bool again(const CORBA_Object* object, const IOP::IOR& failed, const IOP::IOR& next, CORBA_ULong seconds);
    // Call when the object is bound or given up.
    void over(const CORBA_Object* object) { _bindings.take(static_cast<const void*>(object)); }

private:
    using Clock = std::chrono::steady_clock;

    struct Binding {
        const void* object; // only compared
        Clock::time_point begin;
        Backoff backoff;
        std::vector<IOP::IOR> tried; // references that have failed
    };

    KeyedTable<std::unique_ptr<Binding>, &Binding::object> _bindings{0};
};

} // namespace harbolance
