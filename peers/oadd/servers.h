#pragma once

#include "oadd/access.h"
#include "oadd/alarm.h"
#include "oadd/launcher.h"

#include <harbolance/activation_stub.h>

#include <chrono>
#include <list>
#include <map>
#include <memory>
#include <set>

namespace oadd {

// One start of a server, for those who wait for it.
struct Attempt {
    enum class Result { pending, active, notExecuted, notResponding };
    using Clock = std::chrono::steady_clock;

    ObjectName object;
    Result result = Result::pending;
    CORBA_Object_var reference; // when active: where the server has the object
    bool reserved = false;      // of a server for one client or call: someone waits for it already
    // Until when those wait for whom the server may take longer than the limit of a start.
    std::multiset<Clock::time_point> patience;
};

// An object that a server has made ready.
struct ActiveObject {
    ObjectName object; // as registered
    std::string key;   // under which the server has it
    CORBA_Object_var reference;
    CORBA_Long uid = 0;
    pid_t server = 0;   // 0 when it was not started here
    Caller saidBy;      // where the server has said so
    bool taken = false; // its server is for one client or call, and has got it
};

struct ServerLimits {
    long startSeconds = 60; // until the object has to be active
    long endSeconds = 10;   // between SIGTERM and SIGKILL
    size_t most = 100;      // processes at a time
};

// The servers that run: starts them, hears what they make active, notices their end, ends them. Nothing here
// waits; all of it happens in the event loop.
class Servers {
public:
    Servers(const Programs& programs, const ServerLimits& limits);
    Servers(const Servers&) = delete;
    Servers& operator=(const Servers&) = delete;
    ~Servers();

    void use(ServerSetting setting) { setting_ = std::move(setting); }
    const ServerSetting& setting() const { return setting_; }
    const ServerLimits& limits() const { return limits_; }

    // Raises Activation::FailedToExecute, and Activation::Busy when too many servers run; the last tenth of
    // the number is kept for trusted callers. What has failed is not started again for a second, after each
    // further failure for twice as long, up to half a minute: the failure is raised.
    std::shared_ptr<Attempt> start(const Registration& registration, bool trusted);
    // A start of the object that is under way; with `unreserved` one that is for no client yet. Or null.
    std::shared_ptr<Attempt> pending(const ObjectName& object, bool unreserved) const;
    // Who has reserved it does not take the server.
    void giveBack(Attempt& attempt);
    // The object, of a server that has not been taken; or null. Valid until the event loop turns.
    ActiveObject* available(const ObjectName& object);
    // An object of a server that was not started here and has closed its connection to the daemon, so that it
    // may have ended; or null. Valid until the event loop turns.
    ActiveObject* doubtful();

    // What a server says of itself. Without a reference it is the one of the same object under another of its
    // interfaces.
    void activated(const Registration& registration, ActiveObject active);
    // What was asked of it has shown that the server has gone.
    void forget(const ActiveObject& gone);
    // False when it was not active.
    bool deactivated(const ObjectName& object, const std::string& key, CORBA_Long uid);

    // A server of the object is starting or active.
    bool isRunning(const ObjectName& object) const;
    // At least one, whatever runs.
    Activation::ObjectStatusSeq status(const ObjectName& object) const;
    // Ends the servers that have the object or were started for it, and forgets how earlier ones failed.
    void end(const ObjectName& object);
    void endAll();
    bool none() const { return servers_.empty(); }

    // Children of this process may have ended.
    void reap();

private:
    // A process group, from its start until its last process has ended.
    struct Server;
    class ExecWatch;
    using Clock = Attempt::Clock;
    struct Failure {
        Attempt::Result result;
        std::chrono::seconds pause; // until the next start
        Clock::time_point when;
    };

    void raiseRecentFailure(const ObjectName& object) const;
    void fail(Server& server, Attempt::Result result);
    void complete(Attempt& attempt, ActiveObject& active);
    void executionFailed(Server& server, int error);
    void startLimitReached(Server& server);
    void end(Server& server);
    void gone(Server& server);
    void dropObjectsOf(pid_t server);
    bool hasObjects(const Server& server) const;

    const Programs& programs_;
    const ServerLimits limits_;
    ServerSetting setting_;
    std::map<pid_t, std::unique_ptr<Server>> servers_; // by process group
    std::list<ActiveObject> active_;
    std::map<ObjectName, Failure> failures_; // of the last start, until one succeeds
};

} // namespace oadd
