#pragma once

#include "oadd/servers.h"

namespace oadd {

// Finds where an object can be had, and starts its server if need be. A look-up waits in the event loop, so
// that others are served meanwhile, each inside the wait of the one before. When one is over that has others
// inside it, these raise CORBA_TRANSIENT, on which their clients ask again: so none waits for the end of
// another's time.
class Lookups {
public:
    // What the reference is for. Of servers that serve one client or one call, a request takes one for
    // itself, and a look-up only makes sure that there is one.
    enum class Purpose { lookup, request };

    // A connection. Calls inside this process have none.
    struct Connection {
        bool trusted;
        bool open = true;
    };
    using Caller = std::shared_ptr<const Connection>;

    explicit Lookups(Servers& servers) : servers_(servers) {}

    // Where the server has the object: the caller's reference. Raises Activation::FailedToExecute,
    // NotResponding and Busy as the interface says, and CORBA_COMM_FAILURE when the caller has gone. `wait`
    // is in seconds, 0 for not at all, less for the daemon's own limit.
    CORBA_Object* find(const Registration& registration, CORBA_Long wait, Purpose purpose,
                       const Caller& caller);
    // The daemon ends: those that wait raise CORBA_NO_RESOURCES, and so do later ones.
    void stop() { stopped_ = true; }
    bool idle() const { return waits_.empty(); }

private:
    using Clock = std::chrono::steady_clock;
    struct Wait {
        const Attempt& attempt;
        Clock::time_point end;
        const Caller& caller;
        bool over() const;
    };
    // A look-up that its client was told to repeat goes on with the time that was left.
    struct Repeat {
        Caller caller;
        ObjectName object;
        Clock::time_point end;
    };
    class Waiting;

    CORBA_Object* available(const Registration& registration, bool takes);
    void await(const Attempt& attempt, Clock::time_point end, const Caller& caller);
    void turnLoop();
    Clock::time_point endOf(const ObjectName& object, CORBA_Long seconds, const Caller& caller);
    bool othersAreOver() const;

    Servers& servers_;
    std::list<Wait*> waits_; // the innermost is the last
    std::list<Repeat> repeats_;
    bool stopped_ = false;
};

} // namespace oadd
