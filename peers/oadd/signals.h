#pragma once

#include "oadd/lookups.h"

namespace oadd {

// The daemon's signals, as input of the event loop. The end of a child is passed on at once. SIGTERM or
// SIGINT ends the servers and then the daemon; a second one ends the daemon at once, and the servers end
// after it.
class Signals : public dpIOHandler {
public:
    // From now on ended children are kept until they are noticed. SIGTERM and SIGINT end the process like any
    // program of the ORB until `open` is called, because there are no servers yet.
    static void hold();

    Signals(Servers& servers, Lookups& lookups) : servers_(servers), lookups_(lookups) {}
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;
    ~Signals() override;

    // False with errno set.
    bool open();
    // Whether SIGTERM or SIGINT has come.
    bool ending() const { return ending_; }
    // Whether the process is to end now.
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
