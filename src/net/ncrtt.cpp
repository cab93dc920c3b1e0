#include "net/ncrtt.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>

namespace {

constexpr int backoff[NCrtt::maxRetransmissions + 1] = {1, 2, 4, 8, 16};

double microseconds(const timeval& time) {
    return 1000000.0 * static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec);
}

} // namespace

int NCrtt::start() {
    if (nrexmt > maxRetransmissions)
        return currto = maxTimeout;
    if (nrexmt > 0)
        return currto = std::min(currto * backoff[nrexmt], maxTimeout);

    if (readClock(started) != 0) {
        perror("gettimeofday:");
        std::cerr << "NCrtt::start: gettimeofday error\n";
    }
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
        std::cerr << "NCrtt::stop: gettimeofday error\n";
    }
    rtt = static_cast<float>((microseconds(stopped) - microseconds(started)) / 1000000);
    const double delta = static_cast<double>(rtt) - srtt;
    srtt = static_cast<float>(srtt + 0.125 * delta);
    rttdev = static_cast<float>(rttdev + 0.25 * (std::fabs(delta) - rttdev));
}

void NCrtt::reset() { NCrtt::operator=(NCrtt()); }

int NCrtt::readClock(timeval& now) { return gettimeofday(&now, nullptr); }

std::ostream& operator<<(std::ostream& out, const NCrtt& estimate) {
    return out << " rtt = " << estimate.rtt << ", srtt = " << estimate.srtt
               << ", rttdev = " << estimate.rttdev << ", currto = " << estimate.currto << '\n';
}
