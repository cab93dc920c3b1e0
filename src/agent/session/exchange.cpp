#include "agent/session/exchange.h"

#include "agent/session/agent_link.h"
#include "agent/session/dsuser.h"
#include "net/termination.h"
#include "net/timer.h"

namespace harbolance {

Exchange::Exchange(AgentLink& link, DSRequest& request) : link_(link), request_(&request) {
    link_.exchange_ = this;
}

Exchange::~Exchange() { link_.exchange_ = nullptr; }

int Exchange::run(NCrtt& rtt, int seconds) {
    const int status = waitForReply(rtt, seconds);
    // A new connection may have reset the estimate, and then there is nothing to measure.
    if (rtt.started.tv_sec != 0)
        rtt.stop();
    return status;
}

int Exchange::waitForReply(NCrtt& rtt, int seconds) {
    dpDispatcher loop;
    // The global dispatcher, which otherwise watches for termination signals, does not run during this wait.
    const TerminationWatch signals(loop);
    DSTimer retransmit(&loop);
    DSTimer deadline(&loop);
    // One limit for the whole call, also when the agent changes.
    if (seconds > 0)
        deadline.start(seconds, 0);
    uint32_t connection = 0; // the connection of the last sending
    int agents = 0;
    bool startTimer = true;
    if (link_.connection_ && link_.connection_->isDoubted())
        link_.reconnect();
    while (link_.connection_) {
        // A new agent, or the first one, gets the full number of sendings and a new estimate.
        if (link_.connections_ != connection) {
            if (++agents > mostAgents)
                return DSUser::noAnswer;
            connection = link_.connections_;
            if (!rtt.valid)
                rtt.reset();
            rtt.nrexmt = 0;
            startTimer = true;
        }
        // After `reconnect` there is another agent or none; the loop condition tests which.
        if (!link_.connection_->send(*request_)) {
            link_.reconnect();
            continue;
        }
        // The time-out starts with the first sending and with each repeat after a time-out. After any other
        // wake-up, such as a notification, the request is sent again within the same time-out.
        if (std::exchange(startTimer, false))
            retransmit.start(rtt.start(), 0);

        // Stored before the turn: a handler may destroy the connection, but its descriptor must still be
        // unlinked.
        const int fd = link_.connection_->fd();
        loop.link(fd, dpDispatcher::readMask, &link_.session_);
        loop.dispatch();
        loop.unlink(fd);

        // The connection was replaced or ended during the turn: the request starts again with the present
        // one.
        if (link_.connections_ != connection || !link_.connection_)
            continue;
        // Tested before the timers, so that a reply that came in the same turn is used.
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
                // After five sendings without an answer the estimate is no longer valid.
                rtt.valid = 0;
                link_.reconnect();
            }
        }
    }
    return DSUser::noAgent;
}

} // namespace harbolance
