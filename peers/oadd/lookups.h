#pragma once

#include "oadd/registrations.h"
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

    Lookups(const Registrations& registrations, Servers& servers)
        : registrations_(registrations), servers_(servers) {}

    // Where the server has the object, which is given as registered: the caller's reference. Raises
    // Activation::NotRegistered, FailedToExecute, NotResponding and Busy as the interface says, and
    // CORBA_COMM_FAILURE when the caller has gone. `wait` is in seconds, 0 for not at all, less for the
    // daemon's own limit, and never more than that for a peer of another host.
    CORBA_Object* find(const ObjectName& object, CORBA_Long wait, Purpose purpose, const Caller& caller);
    // A connection to the daemon has ended. What a server has said on it that was not started here is asked
    // about, from the event loop.
    void connectionEnded();
    // The daemon ends: those that wait raise CORBA_NO_RESOURCES, and so do later ones.
    void stop() { stopped_ = true; }
    bool idle() const { return waits_.empty(); }

private:
    using Clock = Attempt::Clock;
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
    class Reservation;
    class Turn;
    class Waiting;

    Registrations::Entry registered(const ObjectName& object) const;
    CORBA_Object* available(const ObjectName& object, bool takes, const Caller& caller);
    bool isStillActive(const ActiveObject& active);
    void askDoubtful();
    void await(Attempt& attempt, Clock::time_point end, bool patient, const Caller& caller);
    void turnLoop();
    Clock::time_point endOf(const ObjectName& object, CORBA_Long seconds, const Caller& caller);
    bool othersAreOver() const;

    const Registrations& registrations_;
    Servers& servers_;
    Alarm doubts_{[this] { askDoubtful(); }};
    std::list<Wait*> waits_;      // the innermost is the last
    size_t turning_ = 0;          // calls that wait here or ask a server, each inside the one before
    size_t turningUntrusted_ = 0; // of these for peers of other hosts
    std::list<Repeat> repeats_;
    bool stopped_ = false;
};

} // namespace oadd
