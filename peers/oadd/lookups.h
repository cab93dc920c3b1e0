#pragma once

#include "oadd/registrations.h"
#include "oadd/servers.h"

namespace oadd {

// Finds the server of an object, and starts it if needed. A look-up waits in the event loop, so other
// look-ups are served meanwhile, each inside the wait of the previous one. When a look-up is finished while
// others are nested in it, those raise CORBA_TRANSIENT, on which their clients repeat the request; so no
// look-up waits until another one times out.
class Lookups {
public:
    // The use of the reference. When servers serve one client or one call, a request takes a server for
    // itself, while a look-up only makes sure that one exists.
    enum class Purpose { lookup, request };

    Lookups(const Registrations& registrations, Servers& servers)
        : registrations_(registrations), servers_(servers) {}

    // The object's reference at its server; the caller owns it. `object` is as registered. Raises
    // Activation::NotRegistered, FailedToExecute, NotResponding and Busy as the interface says, and
    // CORBA_COMM_FAILURE when the caller is gone. `wait` is in seconds: 0 means not at all, a negative number
    // the daemon's own limit, which is also the most for a peer on another host.
    CORBA_Object* find(const ObjectName& object, CORBA_Long wait, Purpose purpose, const Caller& caller);
    // Call when a connection to the daemon has ended. Servers not started here that have reported objects on
    // it are asked, in the event loop, whether they still exist.
    void connectionEnded();
    // Call when the daemon ends: present and later look-ups raise CORBA_NO_RESOURCES.
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
    // A look-up that its client was told to repeat continues with the time that was left.
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
    size_t turning_ = 0;          // nested calls that wait here or ask a server
    size_t turningUntrusted_ = 0; // of these, for peers on other hosts
    std::list<Repeat> repeats_;
    bool stopped_ = false;
};

} // namespace oadd
