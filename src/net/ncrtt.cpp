#include "net/ncrtt.h"

#include "base/standard_streams.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

constexpr int backoff[NCrtt::maxRetransmissions + 1] = {1, 2, 4, 8, 16};

double microseconds(const timeval& time) {
    return 1000000.0 * static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec);
}

} // namespace

int NCrtt::start() {
    // A caller that found another agent sends once more. There is no multiplier for that.
    if (nrexmt > maxRetransmissions)
        return currto = maxTimeout;
    // The multiplier applies to the time-out of the sending before, so 3 becomes 3, 6, 20, 20, 20. The start
    // of the measurement stays that of the first sending.
    if (nrexmt > 0)
        return currto = std::min(currto * backoff[nrexmt], maxTimeout);

    if (readClock(started) != 0) {
        perror("gettimeofday:");
        harbolance::standardError() << "NCrtt::start: gettimeofday error\n";
    }
    // Left by a request that was retransmitted: its last time-out is the best estimate there is.
    if (nxtrto > 0) {
        currto = nxtrto;
        nxtrto = 0;
        return currto;
    }

    // Compared before the conversion, which is undefined for what doesn't fit: a clock that was set can
    // measure any round trip.
    const double rto = srtt + 2 * rttdev + 0.5;
    if (rto < 2)
        currto = 2;
    else if (rto >= maxTimeout)
        currto = maxTimeout;
    else
        currto = static_cast<int>(rto);
    return currto;
}

void NCrtt::stop() {
    if (nrexmt > 0) {
        nxtrto = currto;
        return;
    }
    nxtrto = 0;
    if (readClock(stopped) != 0) {
        perror("gettimeofday:");
        harbolance::standardError() << "NCrtt::stop: gettimeofday error\n";
    }
    // In double: the microseconds since 1970 need more digits than a float has.
    rtt = static_cast<float>((microseconds(stopped) - microseconds(started)) / 1000000);
    const double delta = static_cast<double>(rtt) - srtt;
    // A new measurement counts for one eighth, its deviation for a quarter.
    srtt = static_cast<float>(srtt + 0.125 * delta);
    rttdev = static_cast<float>(rttdev + 0.25 * (std::fabs(delta) - rttdev));
}

void NCrtt::reset() { NCrtt::operator=(NCrtt()); }

int NCrtt::readClock(timeval& now) { return gettimeofday(&now, nullptr); }

std::ostream& operator<<(std::ostream& out, const NCrtt& estimate) {
    return out << " rtt = " << estimate.rtt << ", srtt = " << estimate.srtt
               << ", rttdev = " << estimate.rttdev << ", currto = " << estimate.currto << '\n';
}
