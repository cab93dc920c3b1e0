#pragma once

#include "oadd/lookups.h"

namespace oadd {

// The signals of the daemon, as input of the event loop. The end of a child is passed on at once. SIGTERM or
// SIGINT ends the servers and then the daemon, a second one the daemon at once; the servers follow it.
class Signals : public dpIOHandler {
public:
    // From now on the ends of children wait to be noticed. SIGTERM and SIGINT end the process as they end
    // every program of the ORB, until `open`: there are no servers yet.
    static void hold();

    Signals(Servers& servers, Lookups& lookups) : servers_(servers), lookups_(lookups) {}
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;
    ~Signals() override;

    // False with errno set.
    bool open();
    // SIGTERM or SIGINT has come.
    bool ending() const { return ending_; }
    // The process is to end now.
    bool done() const { return forced_ || (ending_ && servers_.none() && lookups_.idle()); }

    int inputReady(int fd) override;

private:
    void leave();

    Servers& servers_;
    Lookups& lookups_;
    harbolance::Descriptor fd_;
    bool ending_ = false;
    bool forced_ = false;
};

} // namespace oadd
