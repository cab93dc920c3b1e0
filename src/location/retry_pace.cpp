#include "location/retry_pace.h"

#include "invoke/transport/loop_wait.h"

#include <algorithm>

namespace harbolance {

bool RetryPace::again(const IOP::IOR& server, CORBA_ULong seconds) {
    using namespace std::chrono_literals;
    constexpr auto oneTry = 10s; // a failure that comes later belongs to another binding
    const auto now = Clock::now();
    if (!(_server == server) || now - _last > oneTry) {
        _server = server;
        _begin = now;
        _pause = 20ms;
    }
    _last = now;
    if (now - _begin >= std::chrono::seconds(seconds == 0 ? longest : std::min(seconds, longest)))
        return false;
    LoopWait wait;
    TRXTimer timer(wait.dispatcher());
    timer.start(0, std::chrono::microseconds(_pause).count());
    wait.until(0, [&timer] { return timer.fired; });
    _pause = std::min(2 * _pause, 1000ms);
    _last = Clock::now();
    return true;
}

} // namespace harbolance
