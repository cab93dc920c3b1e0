#include "oadd/servers.h"

#include "oadd/log.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

using namespace harbolance;

namespace oadd {

namespace {

constexpr std::chrono::seconds shortestPause{1};
constexpr std::chrono::seconds longestPause{30};

std::string processText(pid_t pid) { return "process " + std::to_string(pid); }

std::string endText(int status) {
    if (WIFSIGNALED(status))
        return "by signal " + std::to_string(WTERMSIG(status));
    return "with status " + std::to_string(WEXITSTATUS(status));
}

[[noreturn]] void raise(Attempt::Result result) {
    if (result == Attempt::Result::notResponding)
        throw Activation::NotResponding();
    throw Activation::FailedToExecute();
}

} // namespace

// Learns through its pipe that a program could not be executed.
class Servers::ExecWatch : public dpIOHandler {
public:
    ExecWatch(Servers& servers, Server& server, Descriptor pipe)
        : servers_(servers), server_(server), pipe_(std::move(pipe)) {
        // If the dispatcher cannot watch the pipe, the end of the process reports the same.
        if (pipe_.get() < dpDispatcher::maxDescriptors)
            dpDispatcher::instance()->link(pipe_.get(), dpDispatcher::readMask, this);
        else
            pipe_.reset();
    }
    ExecWatch(const ExecWatch&) = delete;
    ExecWatch& operator=(const ExecWatch&) = delete;
    ~ExecWatch() override { close(); }

    int inputReady(int) override {
        int error = 0;
        const bool failed = ::read(pipe_.get(), &error, sizeof error) == sizeof error;
        close();
        if (failed)
            servers_.executionFailed(server_, error);
        return 0;
    }

private:
    void close() {
        if (pipe_.isOpen())
            dpDispatcher::instance()->unlink(pipe_.get());
        pipe_.reset();
    }

    Servers& servers_;
    Server& server_;
    Descriptor pipe_;
};

struct Servers::Server {
    Server(Servers& servers, Launched launched, std::shared_ptr<Attempt> itsAttempt)
        : group(launched.pid), attempt(std::move(itsAttempt)),
          startLimit([&servers, this] { servers.startLimitReached(*this); }),
          endLimit([this] { ::kill(-group, SIGKILL); }), watch(servers, *this, std::move(launched.failure)) {}

    std::string text() const { return toText(attempt->object) + ": " + processText(group); }

    const pid_t group;
    const Clock::time_point begin = Clock::now();
    const std::shared_ptr<Attempt> attempt;
    Alarm startLimit;
    Alarm endLimit;
    ExecWatch watch;
    bool leaderEnded = false;
    bool ending = false; // it has been sent a signal to end
    int status = 0;      // exit status of the leader, when it has ended
};

Servers::Servers(const Programs& programs, const ServerLimits& limits)
    : programs_(programs), limits_(limits) {}
Servers::~Servers() = default;

void Servers::raiseRecentFailure(const ObjectName& object) const {
    const auto found = failures_.find(object);
    if (found != failures_.end() && Clock::now() < found->second.when + found->second.pause)
        raise(found->second.result);
}

std::shared_ptr<Attempt> Servers::start(const Registration& registration, bool trusted) {
    const ObjectName& object = registration.object;
    raiseRecentFailure(object);
    constexpr size_t keptShare = 10;
    if (servers_.size() >= limits_.most - (trusted ? 0 : limits_.most / keptShare)) {
        log(LogLevel::warning, toText(object) + ": not started, " + std::to_string(servers_.size()) +
                                   " servers run already; see --max-servers");
        throw Activation::Busy();
    }
    const auto opened = programs_.open(registration.path);
    if (const auto* complaint = std::get_if<std::string>(&opened)) {
        log(LogLevel::warning, toText(object) + ": not started, " + *complaint);
        failures_[object] = {Attempt::Result::notExecuted, {}, {}}; // nothing has been started
        throw Activation::FailedToExecute();
    }
    const auto& program = std::get<Programs::Program>(opened);
    auto launched = launch(program, argumentsFor(registration, setting_), environmentFor(registration));
    if (!launched) {
        log(LogLevel::error, toText(object) + ": no new process: " + std::strerror(errno));
        throw Activation::FailedToExecute();
    }
    const pid_t group = launched->pid;
    auto attempt = std::make_shared<Attempt>();
    attempt->object = object;
    auto& server = servers_[group] = std::make_unique<Server>(*this, std::move(*launched), attempt);
    server->startLimit.start(limits_.startSeconds);
    log(LogLevel::info, server->text() + " is started");
    return attempt;
}

std::shared_ptr<Attempt> Servers::pending(const ObjectName& object, bool unreserved) const {
    for (const auto& [group, server] : servers_) {
        const Attempt& attempt = *server->attempt;
        if (attempt.object == object && attempt.result == Attempt::Result::pending &&
            !(unreserved && attempt.reserved))
            return server->attempt;
    }
    return nullptr;
}

void Servers::giveBack(Attempt& attempt) {
    attempt.reserved = false;
    for (const auto& [group, server] : servers_) {
        if (server->attempt.get() != &attempt)
            continue;
        for (ActiveObject& active : active_)
            active.taken = active.taken && (active.server != group || active.object != attempt.object);
    }
}

// A server that was started here is preferred, because its end would be noticed.
ActiveObject* Servers::available(const ObjectName& object) {
    ActiveObject* found = nullptr;
    for (ActiveObject& active : active_) {
        if (active.object == object && !active.taken &&
            (!found || (active.server != 0 && found->server == 0)))
            found = &active;
    }
    return found;
}

ActiveObject* Servers::doubtful() {
    const auto found = std::find_if(active_.begin(), active_.end(), [](const ActiveObject& active) {
        return active.server == 0 && hasGone(active.saidBy);
    });
    return found == active_.end() ? nullptr : &*found;
}

// --- What servers say of themselves ------------------------------------------------------------------------

void Servers::activated(const Registration& registration, ActiveObject active) {
    if (!active.reference.in()) {
        const auto known = std::find_if(active_.begin(), active_.end(), [&](const ActiveObject& other) {
            return other.key == active.key && other.uid == active.uid;
        });
        if (known == active_.end() || known->object == registration.object)
            return;
        active.reference = CORBA_Object::_duplicate(known->reference.in());
    }
    const auto known = active.uid < 0 ? servers_.find(-active.uid) : servers_.end();
    Server* server = known == servers_.end() || known->second->ending ? nullptr : known->second.get();
    active.object = registration.object;
    active.server = server ? server->group : 0;
    log(LogLevel::info,
        toText(active.object) + ": active in " +
            (server ? processText(server->group) : std::string("a server that was not started here")));
    active_.remove_if([&](const ActiveObject& old) {
        return old.object == active.object && old.key == active.key && old.uid == active.uid;
    });
    ActiveObject& entered = active_.emplace_back(std::move(active));
    failures_.erase(registration.object);
    if (server && server->attempt->object == registration.object) {
        complete(*server->attempt, entered);
        server->startLimit.stop();
    }
    if (registration.policy != SHARED_SERVER)
        return;
    for (const auto& [group, each] : servers_) {
        if (each->attempt->object == registration.object)
            complete(*each->attempt, entered);
    }
}

void Servers::complete(Attempt& attempt, ActiveObject& active) {
    if (attempt.result != Attempt::Result::pending)
        return;
    attempt.result = Attempt::Result::active;
    attempt.reference = CORBA_Object::_duplicate(active.reference.in());
    active.taken = attempt.reserved;
}

void Servers::forget(const ActiveObject& gone) {
    active_.remove_if(
        [&](const ActiveObject& active) { return active.reference.in() == gone.reference.in(); });
}

bool Servers::deactivated(const ObjectName& object, const std::string& key, CORBA_Long uid) {
    return active_.remove_if([&](const ActiveObject& active) {
        return active.object == object && active.key == key && active.uid == uid;
    }) > 0;
}

// --- States ------------------------------------------------------------------------------------------------

bool Servers::isRunning(const ObjectName& object) const {
    for (const ActiveObject& active : active_) {
        if (active.object == object)
            return true;
    }
    // A server started for this object that also has other objects would be ended with it.
    return std::any_of(servers_.begin(), servers_.end(), [&object](const auto& each) {
        return each.second->attempt->object == object && !each.second->ending;
    });
}

Activation::ObjectStatusSeq Servers::status(const ObjectName& object) const {
    Activation::ObjectStatusSeq all;
    const auto add = [&all](CORBA_Long uid, Activation::State state, CORBA_Object* reference) {
        all.length(all.length() + 1);
        Activation::ObjectStatus& status = all[all.length() - 1];
        status.uid = uid;
        status.state = state;
        status.ref = CORBA_Object::_duplicate(reference);
    };
    for (const ActiveObject& active : active_) {
        if (active.object == object)
            add(active.uid, Activation::active, active.reference.in());
    }
    for (const auto& [group, server] : servers_) {
        if (server->attempt->object == object && server->attempt->result == Attempt::Result::pending)
            add(uidOf(group), Activation::starting, nullptr);
    }
    if (all.length() == 0)
        add(0, failures_.contains(object) ? Activation::failed : Activation::registered, nullptr);
    return all;
}

bool Servers::hasObjects(const Server& server) const {
    for (const ActiveObject& active : active_) {
        if (active.server == server.group)
            return true;
    }
    return false;
}

// --- How a server ends -------------------------------------------------------------------------------------

void Servers::fail(Server& server, Attempt::Result result) {
    if (server.attempt->result != Attempt::Result::pending)
        return;
    server.attempt->result = result;
    Failure& failure = failures_[server.attempt->object];
    failure = {result, std::clamp(2 * failure.pause, shortestPause, longestPause), Clock::now()};
}

void Servers::executionFailed(Server& server, int error) {
    log(LogLevel::warning, server.text() + ": the program cannot be executed: " + std::strerror(error));
    fail(server, Attempt::Result::notExecuted);
}

// A server that has other objects is kept.
void Servers::startLimitReached(Server& server) {
    using std::chrono::ceil, std::chrono::seconds;
    const auto now = Clock::now();
    const auto& patience = server.attempt->patience;
    if (!patience.empty() && now < *patience.rbegin()) {
        // Started for a limited time only, because waiting clients may leave.
        const long left = ceil<seconds>(*patience.rbegin() - now).count();
        server.startLimit.start(std::min(left, limits_.startSeconds));
        return;
    }
    log(LogLevel::warning, server.text() + " has not made its object active within " +
                               std::to_string(std::chrono::round<seconds>(now - server.begin).count()) +
                               " seconds");
    fail(server, Attempt::Result::notResponding);
    if (!hasObjects(server))
        end(server);
}

void Servers::end(Server& server) {
    if (!server.ending)
        log(LogLevel::info, server.text() + " is told to end");
    server.ending = true;
    fail(server, Attempt::Result::notExecuted);
    dropObjectsOf(server.group);
    ::kill(-server.group, SIGTERM);
    server.endLimit.start(limits_.endSeconds);
}

void Servers::end(const ObjectName& object) {
    for (const auto& [group, server] : servers_) {
        bool has = server->attempt->object == object;
        for (const ActiveObject& active : active_)
            has = has || (active.object == object && active.server == group);
        if (has && !server->ending)
            end(*server);
    }
    active_.remove_if([&](const ActiveObject& active) { return active.object == object; });
    failures_.erase(object);
}

void Servers::endAll() {
    for (const auto& [group, server] : servers_)
        end(*server);
}

void Servers::dropObjectsOf(pid_t server) {
    active_.remove_if([server](const ActiveObject& active) { return active.server == server; });
}

// Processes whose parent has ended become children of this one (main.cpp), so the end of a whole group is
// noticed. A process that leaves its group is not tracked.
void Servers::reap() {
    int status = 0;
    for (pid_t pid = 0; (pid = ::waitpid(-1, &status, WNOHANG)) > 0;) {
        const auto found = servers_.find(pid);
        if (found == servers_.end())
            continue;
        found->second->leaderEnded = true;
        found->second->status = status;
    }
    for (auto next = servers_.begin(); next != servers_.end();) {
        const auto each = next++;
        if (each->second->leaderEnded && ::kill(-each->first, 0) != 0 && errno == ESRCH) {
            gone(*each->second);
            servers_.erase(each);
        }
    }
}

void Servers::gone(Server& server) {
    const bool expected = server.ending || (WIFEXITED(server.status) && WEXITSTATUS(server.status) == 0);
    const bool early = server.attempt->result == Attempt::Result::pending;
    log(expected && !early ? LogLevel::info : LogLevel::warning,
        server.text() + " has ended " + endText(server.status) +
            (early ? ", before it made its object active" : ""));
    fail(server, Attempt::Result::notExecuted);
    dropObjectsOf(server.group);
}

} // namespace oadd
