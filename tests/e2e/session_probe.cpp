// Does with the session with an agent what it is told, one command a line on standard input, and ends each
// with the line "= RESULT". Ends with `quit`, at the end of the input, or by a signal. An argument sets the
// keep-alive period. Providers listen on 127.0.0.1 port 4711. A result is a status and what stands in
// brackets:
//
//     state [ADDRESS:PORT of the agent]; the status is 1 when logged in
//     register NAME (REFERENCE), unregister NAME, untrigger NAME
//     trigger NAME: events "up NAME:PORT" and "down NAME:PORT"
//     nested NAME: a trigger whose handler asks for NAME itself, and prints "nested" and the result of that
//     locate NAME (SECONDS) [ADDRESS:PORT of AGENT'S ADDRESS]
//     names (here) [NAME ... in order, or "none" without a list]
//     unreachable NAME HOST: a provider of the agent on HOST is said to be down
//     verify HOST PORT: events "peer up" or "peer down"

#include "agent/collections/dsset.h"
#include "agent/records/dsname.h"
#include "agent/session/dsuser.h"
#include "orb/vorb.h"

#include <unistd.h>

#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <string>

namespace {

using std::string;

NCRef<DSName> nameOf(const string& text, const string& reference = "") {
    NCRef<DSResource> value;
    if (!reference.empty())
        value = new DSName(reference.c_str(), dsArgType, DSServiceReference);
    return new DSName(text.c_str(), dsArgType, DSServiceManual, value.get());
}

string placeOf(const DSAddr& address) {
    return string(address.dottedAddr()) + ":" + std::to_string(address.port());
}

string locate(const string& name, int seconds) {
    int status = 0;
    const NCRef<DSProvider> found = DSUser::instance(false)->locate(nameOf(name).get(), status, seconds);
    string result = std::to_string(status);
    if (found)
        result += " " + placeOf(found->addr()) + " of " + string(found->agentAddr().dottedAddr());
    return result;
}

string names(bool wait) {
    int status = 0;
    const NCRef<DSSet> set = DSUser::instance(false)->names(status, wait);
    string result = std::to_string(status);
    if (!set)
        return result + " none";
    std::multiset<string> found;
    for (const DSResource* element : *set)
        found.insert(static_cast<const DSName*>(element)->name());
    for (const string& one : found)
        result += " " + one;
    return result;
}

struct Handler : DSTriggerHandler {
    void serviceUp(DSProvider* provider) override {
        tell("up ", *provider);
        if (asks)
            std::cout << "nested " << locate(provider->name().name(), 0) << std::endl;
    }
    void serviceDown(DSProvider* provider) override { tell("down ", *provider); }

    static void tell(const char* event, const DSProvider& provider) {
        std::cout << event << provider.name().name() << ":" << provider.addr().port() << std::endl;
    }

    bool asks = false;
};

struct Verifier : DSVerify {
    void peerUp() override { std::cout << "peer up" << std::endl; }
    void peerDown() override { std::cout << "peer down" << std::endl; }
};

// Reads a line whenever there is input: whoever types waits for the result before the next one.
class Probe : public dpIOHandler {
public:
    explicit Probe(DSUser& session) : session_(session) {}

    int inputReady(int) override {
        string line;
        if (!std::getline(std::cin, line) || line == "quit")
            std::exit(0);
        string command;
        string name;
        string more;
        std::istringstream(line) >> command >> name >> more;
        const string result = resultOf(command, name, more); // events come before it
        std::cout << "= " << result << std::endl;
        return 0;
    }

private:
    string resultOf(const string& command, const string& name, const string& more) {
        if (command == "state")
            return std::to_string(session_.isLoggedIn()) + " " + placeOf(session_.agentAddr());
        if (command == "locate")
            return locate(name, more.empty() ? 0 : std::stoi(more));
        return command == "names" ? names(name != "here") : std::to_string(statusOf(command, name, more));
    }

    int statusOf(const string& command, const string& name, const string& more) {
        auto& provider = providers_[name];
        if (!provider)
            provider = new DSProvider(*nameOf(name, more), DSAddr(4711, "127.0.0.1"));
        Handler& handler = handlers_[name];
        handler.asks = command == "nested";
        if (command == "register")
            return session_.registerProvider(provider.get());
        if (command == "unregister")
            return session_.unregisterProvider(provider.get());
        if (command == "untrigger")
            return session_.unregisterTrigger(nameOf(name).get(), &handler);
        if (command == "verify")
            return verifier_.verify(NCRef<DSAddr>(new DSAddr(std::stoi(more), name.c_str())).get());
        if (command != "unreachable")
            return session_.registerTrigger(nameOf(name).get(), &handler);
        provider->setAgentAddr(DSAddr(session_.port(), more.c_str()));
        session_.providerDown(provider.get());
        return 0;
    }

    DSUser& session_;
    std::map<string, NCRef<DSProvider>> providers_;
    std::map<string, Handler> handlers_;
    Verifier verifier_;
};

} // namespace

int main(int argc, char** argv) {
    CORBA_ORB_init(argc, argv);
    if (argc > 1)
        DSUser::setKeepAlivePeriod(std::stoi(argv[1]));
    DSUser* session = DSUser::instance(true);
    // Never deleted: the session refers to its handlers until the exit handlers have run.
    static auto& probe = *new Probe(*session);
    dpDispatcher::instance()->link(STDIN_FILENO, dpDispatcher::readMask, &probe);
    std::cout << "ready " << session->isLoggedIn() << std::endl;
    for (;;)
        dpDispatcher::instance()->dispatch();
}
