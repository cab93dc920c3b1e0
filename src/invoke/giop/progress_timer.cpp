#include "invoke/giop/progress_timer.h"

#include "invoke/transport/transport_settings.h"

using namespace std::chrono;

TRXGIOPConn::ProgressTimer::~ProgressTimer() {
    if (_running)
        dpDispatcher::instance()->stopTimer(this);
}

uint64_t TRXGIOPConn::ProgressTimer::progress() const {
    const bool writes = !_connection._output.empty();
    return writes ? _connection._output.written() : _connection._reader.received();
}

void TRXGIOPConn::ProgressTimer::watch() {
    if (transportSettings.stallLimit == 0)
        return;
    if (!_running || _seen != progress()) {
        _seen = progress();
        _since = Clock::now();
    }
    if (!_running)
        start(seconds(transportSettings.stallLimit));
}

void TRXGIOPConn::ProgressTimer::start(microseconds interval) {
    _running = true;
    dpDispatcher::instance()->startTimer(static_cast<long>(interval.count() / 1000000),
                                         static_cast<long>(interval.count() % 1000000), this);
}

void TRXGIOPConn::ProgressTimer::timerExpired(long, long) {
    _running = false;
    if (!_connection.is_incomplete())
        return;
    const auto now = Clock::now();
    if (_seen != progress()) {
        watch();
        return;
    }
    const auto limit = seconds(transportSettings.stallLimit);
    const auto idle = duration_cast<microseconds>(now - _since);
    if (idle < limit)
        start(limit - idle);
    else
        _connection._handler->exceptionRaised(_connection._fd);
}
