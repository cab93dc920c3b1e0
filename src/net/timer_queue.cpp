#include "net/timer_queue.h"

#include "net/dispatcher.h"

#include <ctime>
#include <utility>

using namespace harbolance;

timeval harbolance::timeOfDay() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return now;
}

timeval harbolance::monotonicTime() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return {now.tv_sec, now.tv_nsec / 1000};
}

namespace {

// Takes the timer out of the list. `place` is the pointer that owns it: the head or its predecessor's `next`.
std::unique_ptr<dpTimer> unlinkAt(std::unique_ptr<dpTimer>& place) {
    std::unique_ptr<dpTimer> timer = std::move(place);
    place = std::move(timer->next);
    return timer;
}

} // namespace

dpTimerQueue::~dpTimerQueue() {
    // Removed one by one: destroying the head alone would recurse once per timer.
    while (head_)
        unlinkAt(head_);
}

void dpTimerQueue::insert(const timeval& due, dpIOHandler* handler) {
    std::unique_ptr<dpTimer>* place = &head_;
    // The two comparisons differ on purpose: a timer with the head's time goes behind the head, one with the
    // time of a later timer goes in front of that one.
    if (head_ && !isEarlier(due, head_->due())) {
        place = &head_->next;
        while (*place && isEarlier((*place)->due(), due))
            place = &(*place)->next;
    }
    place->reset(new dpTimer{due.tv_sec, due.tv_usec, handler, std::move(*place), nextSerial_++});
}

bool dpTimerQueue::remove(const dpIOHandler* handler) {
    for (std::unique_ptr<dpTimer>* place = &head_; *place; place = &(*place)->next) {
        if ((*place)->handler == handler) {
            unlinkAt(*place);
            return true;
        }
    }
    return false;
}

void dpTimerQueue::expire(const timeval& now, const timeval& timeOfDay) {
    // The list is searched again after each callback, which may have changed it. A timer that a callback
    // starts has a higher serial and waits for the next turn; otherwise a timer that restarts itself with no
    // interval would keep this loop running for ever.
    const uint64_t serialLimit = nextSerial_;
    while (const std::unique_ptr<dpTimer> timer = takeDue(now, serialLimit))
        timer->handler->timerExpired(timeOfDay.tv_sec, timeOfDay.tv_usec);
}

std::unique_ptr<dpTimer> dpTimerQueue::takeDue(const timeval& now, uint64_t serialLimit) {
    // The list is sorted, so the search ends at the first timer that is not due. The caller owns the timer
    // before its handler is called, because the handler may stop other timers and destroy itself.
    for (std::unique_ptr<dpTimer>* place = &head_; *place && isEarlier((*place)->due(), now);
         place = &(*place)->next) {
        if ((*place)->serial < serialLimit)
            return unlinkAt(*place);
    }
    return nullptr;
}
