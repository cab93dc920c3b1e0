#include "location/retry_pace.h"

#include "invoke/transport/loop_wait.h"

#include <algorithm>

namespace harbolance {

bool RetryPace::again(const CORBA_Object* object, bool anotherServer, CORBA_ULong seconds) {
    const auto now = Clock::now();
    auto made = std::make_unique<Binding>(Binding{object, now, {}});
    Binding& binding = **_bindings.insert(std::move(made)).entry; // or the one that is there
    const auto limit = std::chrono::seconds(seconds == 0 ? longest : std::min(seconds, longest));
    if (now - binding.begin >= limit)
        return false;
    const bool atOnce = anotherServer && binding.backoff.isFresh();
    const auto pause = binding.backoff.next();
    if (!atOnce)
        LoopWait().pause(pause); // the object may be bound meanwhile
    return true;
}

} // namespace harbolance
