#include "location/retry_pace.h"

#include "invoke/transport/loop_wait.h"

#include <algorithm>

namespace harbolance {

bool RetryPace::again(const CORBA_Object* object, bool anotherServer, CORBA_ULong seconds) {
    using namespace std::chrono_literals;
    const auto now = Clock::now();
    auto made = std::make_unique<Binding>(Binding{object, now, 0ms});
    Binding& binding = **_bindings.insert(std::move(made)).entry; // or the one that is there
    const auto limit = std::chrono::seconds(seconds == 0 ? longest : std::min(seconds, longest));
    if (now - binding.begin >= limit)
        return false;
    const auto pause = binding.pause == 0ms && !anotherServer ? 20ms : binding.pause;
    binding.pause = std::clamp(2 * pause, 20ms, 1000ms);
    if (pause == 0ms)
        return true;
    LoopWait wait; // the object may be bound meanwhile
    TRXTimer timer(wait.dispatcher());
    timer.start(0, std::chrono::microseconds(pause).count());
    wait.until(0, [&timer] { return timer.fired; });
    return true;
}

} // namespace harbolance
