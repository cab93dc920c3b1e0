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

// One start of a server, shared by those who wait for it.
struct Attempt {
    enum class Result { pending, active, notExecuted, notResponding };
    using Clock = std::chrono::steady_clock;

    ObjectName object;
    Result result = Result::pending;
    CORBA_Object_var reference; // when active: the object's reference at its server
    bool reserved = false;      // server for one client or call: already reserved by a waiting one
    // The time limits of those who wait longer than the limit of a start.
    std::multiset<Clock::time_point> patience;
};

// An object that a server has reported as ready.
struct ActiveObject {
    ObjectName object; // as registered
    std::string key;   // its key at the server
    CORBA_Object_var reference;
    CORBA_Long uid = 0;
    pid_t server = 0;   // 0 when it was not started here
    Caller saidBy;      // the connection on which it was reported
    bool taken = false; // its server serves one client or call, which has it
};

struct ServerLimits {
    long startSeconds = 60; // time limit until the object is active
    long endSeconds = 10;   // between SIGTERM and SIGKILL
    size_t most = 100;      // processes at a time
};

// The running servers: starts them, records the objects that they report, notices their end, and ends them.
// Nothing here waits; everything runs in the event loop.
class Servers {
public:
    Servers(const Programs& programs, const ServerLimits& limits);
    Servers(const Servers&) = delete;
    Servers& operator=(const Servers&) = delete;
    ~Servers();

    void use(ServerSetting setting) { setting_ = std::move(setting); }
    const ServerSetting& setting() const { return setting_; }
    const ServerLimits& limits() const { return limits_; }

    // Raises Activation::FailedToExecute, and Activation::Busy when too many servers are running; the last
    // tenth of the limit is kept for trusted callers. After a failure the program is not started again for a
    // second, after each further failure for twice as long, up to half a minute: meanwhile the failure is
    // raised.
    std::shared_ptr<Attempt> start(const Registration& registration, bool trusted);
    // The pending start of the object, or null; with `unreserved` only one that no client has reserved.
    std::shared_ptr<Attempt> pending(const ObjectName& object, bool unreserved) const;
    // Cancels a reservation of the server.
    void giveBack(Attempt& attempt);
    // The object at a server that has not been taken, or null. Valid until the event loop runs.
    ActiveObject* available(const ObjectName& object);
    // An object of a server that was not started here and whose connection to the daemon has ended, so that
    // it may have ended too; or null. Valid until the event loop runs.
    ActiveObject* doubtful();

    // Records an object that a server reports. Without a reference it is that of the same object with another
    // interface.
    void activated(const Registration& registration, ActiveObject active);
    // Removes an object whose server turned out to be gone.
    void forget(const ActiveObject& gone);
    // Records that the object is no longer active; false when it was not active.
    bool deactivated(const ObjectName& object, const std::string& key, CORBA_Long uid);

    // Whether a server of the object is starting or active.
    bool isRunning(const ObjectName& object) const;
    // The states of the object; at least one, even if nothing is running.
    Activation::ObjectStatusSeq status(const ObjectName& object) const;
    // Ends the servers that have the object or were started for it, and forgets earlier failures.
    void end(const ObjectName& object);
    void endAll();
    bool none() const { return servers_.empty(); }

    // Call when children of this process may have ended.
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
    std::map<ObjectName, Failure> failures_; // the last failed start, until one succeeds
};

} // namespace oadd
