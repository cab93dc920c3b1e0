#include "oadd/lookups.h"

#include "oadd/log.h"

#include <algorithm>

namespace oadd {

namespace {

constexpr size_t mostWaits = 100;
constexpr size_t mostUntrusted = 50; // of these from other hosts
constexpr CORBA_ULong answerSeconds = 2;

bool isTrusted(const Lookups::Caller& caller) { return !caller || caller->trusted; }
bool hasGone(const Lookups::Caller& caller) { return caller && !caller->open; }

// A server that was not started here ends without a word. One that does not answer in time is busy.
bool isThere(CORBA_Object* object) {
    CORBA_BindOptions options;
    options.enableRebind = 0;
    options.connectTimeout = options.sendTimeout = options.receiveTimeout = answerSeconds;
    object->_bind_options(options);
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
        throw Activation::Busy(); // a limit of this process, which says nothing of the server
    } catch (const CORBA_Exception&) {
        return false;
    }
}

} // namespace

class Lookups::Waiting {
public:
    Waiting(std::list<Wait*>& waits, Wait& wait) : waits_(waits) { waits_.push_back(&wait); }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;
    ~Waiting() { waits_.pop_back(); }

private:
    std::list<Wait*>& waits_;
};

CORBA_Object* Lookups::find(const Registration& registration, CORBA_Long wait, Purpose purpose,
                            const Caller& caller) {
    const ObjectName object = registration.object;
    const bool takes = purpose == Purpose::request && registration.policy != SHARED_SERVER;
    if (CORBA_Object* found = available(registration, takes))
        return found;
    if (stopped_)
        throw CORBA_NO_RESOURCES();
    std::shared_ptr<Attempt> attempt = servers_.pending(object, takes);
    if (!attempt)
        attempt = servers_.start(registration);
    if (wait == 0)
        throw Activation::Busy();
    attempt->reserved = attempt->reserved || takes;
    try {
        await(*attempt, endOf(object, wait, caller), caller);
    } catch (...) {
        attempt->reserved = attempt->reserved && !takes;
        throw;
    }
    switch (attempt->result) {
    case Attempt::Result::active: return CORBA_Object::_duplicate(attempt->reference.in());
    case Attempt::Result::notExecuted: throw Activation::FailedToExecute();
    default: throw Activation::NotResponding();
    }
}

CORBA_Object* Lookups::available(const Registration& registration, bool takes) {
    const ObjectName object = registration.object;
    while (ActiveObject* active = servers_.available(object)) {
        CORBA_Object_var reference(CORBA_Object::_duplicate(active->reference.in()));
        active->taken = takes;
        if (active->server != 0)
            return reference._retn();
        const std::string key = active->key;
        const CORBA_Long uid = active->uid;
        if (isThere(reference.in())) // this turns the event loop
            return reference._retn();
        log(LogLevel::info, toText(object) + ": its server, which was not started here, has gone");
        servers_.deactivated(object, key, uid);
    }
    return nullptr;
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
    // No start is awaited for longer, so a longer wait would only be remembered in vain.
    const long limit = servers_.limits().startSeconds;
    return now + std::chrono::seconds(seconds < 0 ? limit : std::min<long>(seconds, limit));
}

bool Lookups::Wait::over() const {
    return attempt.result != Attempt::Result::pending || Clock::now() >= end || hasGone(caller);
}

bool Lookups::othersAreOver() const {
    return std::any_of(waits_.begin(), std::prev(waits_.end()),
                       [](const Wait* wait) { return wait->over(); });
}

void Lookups::await(const Attempt& attempt, Clock::time_point end, const Caller& caller) {
    const auto untrusted =
        std::count_if(waits_.begin(), waits_.end(), [](auto* wait) { return !isTrusted(wait->caller); });
    if (waits_.size() >= mostWaits || (!isTrusted(caller) && static_cast<size_t>(untrusted) >= mostUntrusted))
        throw Activation::Busy();
    Wait wait{attempt, end, caller};
    const Waiting waiting(waits_, wait);
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

// Until something happens, or the first of those that wait has no time left.
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
