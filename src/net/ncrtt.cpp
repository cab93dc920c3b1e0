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
    // A caller that has found another agent sends once more than the table has multipliers for.
    if (nrexmt > maxRetransmissions)
        return currto = maxTimeout;
    // The multiplier applies to the previous time-out, so 3 becomes 3, 6, 20, 20, 20. `started` stays that of
    // the first sending.
    if (nrexmt > 0)
        return currto = std::min(currto * backoff[nrexmt], maxTimeout);

    if (readClock(started) != 0) {
        perror("gettimeofday:");
        harbolance::standardError() << "NCrtt::start: gettimeofday error\n";
    }
    // Set by a request that was retransmitted: its last time-out is the best estimate available.
    if (nxtrto > 0) {
        currto = nxtrto;
        nxtrto = 0;
        return currto;
    }

    // Compared before the conversion to int, which is undefined for values out of range: when the wall clock
    // is set, any round trip can be measured.
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
