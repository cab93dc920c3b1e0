#include "oadd/lookups.h"

#include "oadd/log.h"

#include <algorithm>

namespace oadd {

namespace {

constexpr size_t mostTurning = 100;
constexpr size_t mostTurningUntrusted = 50; // of these, for peers on other hosts
constexpr CORBA_ULong answerSeconds = 2;

// Whether the server has the object. A server that does not answer in time counts as busy, and when this
// process is at a limit of its own, the server is assumed to have it.
bool answers(CORBA_Object* object) {
    CORBA_BindOptions options;
    options.enableRebind = 0;
    options.connectTimeout = options.sendTimeout = options.receiveTimeout = answerSeconds;
    object->_bind_options(options);
    // When the server closes the connection, the first call raises the same exception as the limit; the
    // second attempt then finds no connection.
    for (int attempt = 0; attempt < 2; ++attempt) {
        bool connected = false;
        try {
            const CORBA_MarshalOutBuffer_var request(object->_stub_request("_non_existent", 1));
            connected = true;
            const CORBA_MarshalInBuffer_var reply(object->_stub_invoke(request.in()));
            CORBA_Octet gone = 0;
            if (reply.in())
                *reply >> gone;
            return !gone;
        } catch (const CORBA_NO_RESPONSE&) {
            return connected;
        } catch (const CORBA_NO_RESOURCES&) {
            continue;
        } catch (const CORBA_Exception&) {
            return false;
        }
    }
    return true;
}

} // namespace

// Runs the event loop inside a call, in which other calls are served. The depth of nesting is limited.
class Lookups::Turn {
public:
    Turn(Lookups& lookups, const Caller& caller) : lookups_(lookups), untrusted_(isTrusted(caller) ? 0 : 1) {
        if (lookups.turning_ >= mostTurning ||
            (untrusted_ && lookups.turningUntrusted_ >= mostTurningUntrusted))
            throw Activation::Busy();
        ++lookups.turning_;
        lookups.turningUntrusted_ += untrusted_;
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() {
        --lookups_.turning_;
        lookups_.turningUntrusted_ -= untrusted_;
    }

private:
    Lookups& lookups_;
    const size_t untrusted_;
};

// Reserves a server for one client or call, and gives it back unless it is used.
class Lookups::Reservation {
public:
    Reservation(Servers& servers, Attempt& attempt, bool takes)
        : servers_(servers), attempt_(attempt), holds_(takes) {
        attempt.reserved = attempt.reserved || takes;
    }
    Reservation(const Reservation&) = delete;
    Reservation& operator=(const Reservation&) = delete;
    ~Reservation() {
        if (holds_)
            servers_.giveBack(attempt_);
    }
    void use() { holds_ = false; }

private:
    Servers& servers_;
    Attempt& attempt_;
    bool holds_;
};

class Lookups::Waiting {
public:
    Waiting(std::list<Wait*>& waits, Wait& wait, Attempt& attempt, bool patient)
        : waits_(waits), attempt_(attempt) {
        waits_.push_back(&wait);
        if (patient)
            patience_ = attempt.patience.insert(wait.end);
    }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;
    ~Waiting() {
        waits_.pop_back();
        if (patience_)
            attempt_.patience.erase(*patience_);
    }

private:
    std::list<Wait*>& waits_;
    Attempt& attempt_;
    std::optional<std::multiset<Clock::time_point>::iterator> patience_;
};

Registrations::Entry Lookups::registered(const ObjectName& object) const {
    if (auto entry = registrations_.find(object))
        return entry;
    throw Activation::NotRegistered();
}

CORBA_Object* Lookups::find(const ObjectName& object, CORBA_Long wait, Purpose purpose,
                            const Caller& caller) {
    const auto takesServer = [purpose](const Registration& registration) {
        return purpose == Purpose::request && registration.policy != SHARED_SERVER;
    };
    if (CORBA_Object* found = available(object, takesServer(*registered(object)), caller))
        return found;
    const auto entry = registered(object); // it may have changed while servers were asked
    const bool takes = takesServer(*entry);
    if (stopped_)
        throw CORBA_NO_RESOURCES();
    std::shared_ptr<Attempt> attempt = servers_.pending(object, takes);
    if (!attempt)
        attempt = servers_.start(*entry, isTrusted(caller));
    if (wait == 0)
        throw Activation::Busy();
    const bool patient = isTrusted(caller) && wait > servers_.limits().startSeconds;
    Reservation reservation(servers_, *attempt, takes);
    await(*attempt, endOf(object, wait, caller), patient, caller);
    switch (attempt->result) {
    case Attempt::Result::active: reservation.use(); return CORBA_Object::_duplicate(attempt->reference.in());
    case Attempt::Result::notExecuted: throw Activation::FailedToExecute();
    default: throw Activation::NotResponding();
    }
}

CORBA_Object* Lookups::available(const ObjectName& object, bool takes, const Caller& caller) {
    while (ActiveObject* active = servers_.available(object)) {
        CORBA_Object_var reference(CORBA_Object::_duplicate(active->reference.in()));
        if (active->server == 0) {
            const Turn turn(*this, caller);
            active->taken = takes;
            if (!isStillActive(*active))
                continue;
        } else {
            active->taken = takes;
        }
        return reference._retn();
    }
    return nullptr;
}

// For a server that was not started here. Runs the event loop, in which `active` may be destroyed.
bool Lookups::isStillActive(const ActiveObject& active) {
    const ActiveObject asked = active;
    if (answers(asked.reference.in()))
        return true;
    log(LogLevel::info, toText(asked.object) + ": its server, which was not started here, has gone");
    servers_.forget(asked); // only what was asked about, not what a new server has reported since
    return false;
}

void Lookups::connectionEnded() {
    if (servers_.doubtful())
        doubts_.start(0);
}

void Lookups::askDoubtful() {
    while (ActiveObject* active = stopped_ ? nullptr : servers_.doubtful()) {
        active->saidBy.reset(); // asked once
        try {
            const Turn turn(*this, nullptr);
            isStillActive(*active);
        } catch (const Activation::Busy&) {
            // The next look-up asks again.
        }
    }
}

Lookups::Clock::time_point Lookups::endOf(const ObjectName& object, CORBA_Long seconds,
                                          const Caller& caller) {
    const auto now = Clock::now();
    repeats_.remove_if([now](const Repeat& repeat) { return repeat.end < now || hasGone(repeat.caller); });
    for (auto each = repeats_.begin(); each != repeats_.end(); ++each) {
        if (each->caller == caller && each->object == object) {
            const auto end = each->end;
            repeats_.erase(each);
            return end;
        }
    }
    const long limit = servers_.limits().startSeconds;
    const long longest = isTrusted(caller) ? seconds : std::min<long>(seconds, limit);
    return now + std::chrono::seconds(seconds < 0 ? limit : longest);
}

bool Lookups::Wait::over() const {
    return attempt.result != Attempt::Result::pending || Clock::now() >= end || hasGone(caller);
}

bool Lookups::othersAreOver() const {
    return std::any_of(waits_.begin(), std::prev(waits_.end()),
                       [](const Wait* wait) { return wait->over(); });
}

void Lookups::await(Attempt& attempt, Clock::time_point end, bool patient, const Caller& caller) {
    const Turn turn(*this, caller);
    Wait wait{attempt, end, caller};
    const Waiting waiting(waits_, wait, attempt, patient);
    while (!wait.over()) {
        if (stopped_)
            throw CORBA_NO_RESOURCES();
        if (othersAreOver()) {
            repeats_.push_back({caller, attempt.object, end});
            throw CORBA_TRANSIENT();
        }
        turnLoop();
    }
    if (hasGone(caller))
        throw CORBA_COMM_FAILURE();
}

// Runs the event loop until something happens or the first waiting look-up times out.
void Lookups::turnLoop() {
    auto end = waits_.back()->end;
    for (const Wait* wait : waits_)
        end = std::min(end, wait->end);
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(end - Clock::now()).count();
    const long microseconds = std::max<long>(left, 0) + 1000;
    timeval limit{microseconds / 1000000, microseconds % 1000000};
    dpDispatcher::instance()->dispatch(&limit);
}

} // namespace oadd
