#include "invoke/transport/loop_wait.h"

#include "object/global_table.h"

namespace harbolance {

LoopWait::LoopWait() {
    ++_nested;
    if (!TRXGlobalTable::instance()->noCallback) {
        _dispatcher = dpDispatcher::instance();
        return;
    }
    _dispatcher = &_own.emplace();
    _signals.emplace(*_dispatcher);
}

void LoopWait::pause(CORBA_ULong seconds) {
    if (seconds > 0)
        until(seconds, [] { return false; });
}

} // namespace harbolance
