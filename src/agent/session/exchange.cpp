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
    // A new connection may have started the estimate afresh, with nothing to measure.
    if (rtt.started.tv_sec != 0)
        rtt.stop();
    return status;
}

int Exchange::waitForReply(NCrtt& rtt, int seconds) {
    dpDispatcher loop;
    // The global dispatcher, which looks out for signals otherwise, stands still during this wait.
    const TerminationWatch signals(loop);
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
        if (std::exchange(startTimer, false))
            retransmit.start(rtt.start(), 0);

        // Taken before the turn: a handler inside it may destroy the connection, and the number is still to
        // be unlinked.
        const int fd = link_.connection_->fd();
        loop.link(fd, dpDispatcher::readMask, &link_.session_);
        loop.dispatch();
        loop.unlink(fd);

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

} // namespace harbolance
