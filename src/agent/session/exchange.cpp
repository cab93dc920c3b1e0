#include "agent/session/exchange.h"

#include "agent/session/agent_link.h"
#include "agent/session/dsuser.h"
#include "net/termination.h"
#include "net/timer.h"

#include <poll.h>

#include <optional>

namespace harbolance {

Exchange::Exchange(AgentLink& link, DSRequest& request) : link_(link), request_(&request) {
    link_.exchange_ = this;
}

Exchange::~Exchange() { link_.exchange_ = nullptr; }

int Exchange::run(NCrtt& rtt, int seconds) {
    const int status = waitForReply(rtt, seconds);
    // A new connection may have started the estimate afresh, with nothing to measure.
    if (rtt.started.tv_sec != 0)
        rtt.stop();
    return status;
}

int Exchange::waitForReply(NCrtt& rtt, int seconds) {
    std::optional<dpDispatcher> own;
    // The global dispatcher, which looks out for signals otherwise, stands still during the wait of a caller.
    std::optional<TerminationWatch> signals;
    if (!link_.isBegunByLoop())
        signals.emplace(own.emplace());
    dpDispatcher& loop = own ? *own : *dpDispatcher::instance();
    DSTimer retransmit(&loop);
    DSTimer deadline(&loop);
    // One limit for the whole call, whatever agents come and go meanwhile.
    if (seconds > 0)
        deadline.start(seconds, 0);
    uint32_t connection = 0; // the one that the last sending went to
    int agents = 0;
    bool startTimer = true;
    if (link_.connection_ && link_.connection_->isDoubted())
        link_.reconnect();
    while (link_.connection_) {
        // A new agent, also the first: it gets all its sendings, with an estimate of its own.
        if (link_.connections_ != connection) {
            if (++agents > mostAgents)
                return DSUser::noAnswer;
            connection = link_.connections_;
            if (!rtt.valid)
                rtt.reset();
            rtt.nrexmt = 0;
            startTimer = true;
        }
        // The while condition decides: `reconnect` leaves either another agent or none.
        if (!link_.connection_->send(*request_)) {
            link_.reconnect();
            continue;
        }
        // The time-out begins with the first sending and each repeat after a time-out; another wake-up, such
        // as a notification, sends again within it.
        const bool firstSending = startTimer && rtt.nrexmt == 0;
        if (std::exchange(startTimer, false))
            retransmit.start(rtt.start(), 0);

        // Taken before the turn: a handler inside it may destroy the connection, and the number is still to
        // be unlinked.
        const int fd = link_.connection_->fd();
        if (own)
            turn(*own, fd);
        else
            turnGlobalLoop(fd, firstSending, [&] {
                return reply_ || deadline.expired || retransmit.expired || !link_.connection_ ||
                       link_.connections_ != connection;
            });

        // The turn has replaced or ended the connection: the request starts again with what is there now.
        if (link_.connections_ != connection || !link_.connection_)
            continue;
        // Before the timers: a reply that came in the same turn is not thrown away.
        if (reply_)
            return DSUser::done;
        if (deadline.expired) {
            if (rtt.nrexmt == NCrtt::maxRetransmissions)
                link_.connection_->doubt();
            return DSUser::timedOut;
        }
        if (retransmit.expired) {
            startTimer = true;
            if (++rtt.nrexmt > NCrtt::maxRetransmissions) {
                // Five sendings without an answer: the estimate is worth nothing any more.
                rtt.valid = 0;
                link_.reconnect();
            }
        }
    }
    return DSUser::noAgent;
}

void Exchange::turn(dpDispatcher& own, int fd) {
    own.link(fd, dpDispatcher::readMask, &link_.session_);
    own.dispatch();
    own.unlink(fd);
}

// An agent that lives answers within this time, in which nothing else of the process asks it and hears that
// it is busy. Whoever waits for the reply is in no hurry, so that what else wakes the loop sends nothing
// again.
template <class Over>
void Exchange::turnGlobalLoop(int fd, bool firstSending, Over isOver) {
    constexpr int milliseconds = 200;
    pollfd answer{fd, POLLIN, 0};
    if (firstSending && ::poll(&answer, 1, milliseconds) > 0) {
        link_.session_.inputReady(fd);
        return;
    }
    do
        dpDispatcher::instance()->dispatch();
    while (!isOver());
}

} // namespace harbolance
