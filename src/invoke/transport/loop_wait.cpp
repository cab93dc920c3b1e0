#include "invoke/transport/loop_wait.h"

#include "object/global_table.h"

namespace harbolance {

[[gnu::hot]] LoopWait::LoopWait() {
    ++_nested;
    if (!TRXGlobalTable::instance()->noCallback) {
        _dispatcher = dpDispatcher::instance();
        return;
    }
    _dispatcher = &_own.emplace();
    _signals.emplace(*_dispatcher);
}

void LoopWait::pause(std::chrono::microseconds length) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(length);
    TRXTimer timer(*_dispatcher);
    timer.start(seconds.count(), (length - seconds).count());
    until(0, [&timer] { return timer.fired; });
}

} // namespace harbolance
