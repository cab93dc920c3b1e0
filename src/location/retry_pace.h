#pragma once

#include "base/hash_table.h"
#include "invoke/transport/backoff.h"
#include "marshal/reference/vior.h"

#include <chrono>
#include <memory>
#include <vector>

class CORBA_Object;

namespace harbolance {

// Agents name a server that has died until they have found that out, and one that lives but cannot be reached
// for as long as it lives. Whoever tries such servers again does it at this pace, and not for ever.
class RetryPace {
public:
    static constexpr CORBA_ULong longest = 60; // seconds

    // After a failure to bind `object` to one server, before the next is tried: at once when it has not been
    // tried yet, otherwise this waits, each time longer, up to a second. The event loop is turned meanwhile.
    // False when so many seconds have been spent on the binding, 0 for the longest time.
    bool again(const CORBA_Object* object, const IOP::IOR& failed, const IOP::IOR& next, CORBA_ULong seconds);
    // The object is bound, or given up.
    void over(const CORBA_Object* object) { _bindings.take(static_cast<const void*>(object)); }

private:
    using Clock = std::chrono::steady_clock;

    struct Binding {
        const void* object; // only compared
        Clock::time_point begin;
        Backoff backoff;
        std::vector<IOP::IOR> tried; // in vain
    };

    KeyedTable<std::unique_ptr<Binding>, &Binding::object> _bindings{0};
};

} // namespace harbolance
