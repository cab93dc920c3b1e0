// A program that does with the session with an agent what it is told, one command a line on standard input,
// and prints one line for each result and each event. It ends with `quit`, at the end of the input, or by a
// signal.
//
//     state                        state LOGGED-IN AGENT PORT
//     register NAME [REFERENCE]    register NAME STATUS          the provider listens on 127.0.0.1 port 4711
//     unregister NAME              unregister NAME STATUS
//     trigger NAME                 trigger NAME STATUS           then, whenever it happens: up|down NAME PORT
//     untrigger NAME               untrigger NAME STATUS
//     nested NAME                  a trigger whose handler asks for NAME itself: nested NAME STATUS
//     locate NAME [SECONDS]        locate NAME STATUS ADDRESS PORT AGENT
//     agents                       agents STATUS ADDRESS:PORT ...
//     names [here]                 names STATUS NAME ...         of the whole domain, or of this agent
//     providers NAME [here]        providers STATUS ADDRESS:PORT ...
//     unreachable NAME HOST        providerDown of a provider registered with the agent on HOST
//     verify HOST PORT             verify STATUS                 then: peer up|down
//
// `session_probe --keepalive SECONDS` sets the period before the session begins.

#include "agent/collections/dsset.h"
#include "agent/records/dsname.h"
#include "agent/session/dsuser.h"
#include "orb/vorb.h"

#include <unistd.h>

#include <algorithm>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr int listeningPort = 4711;
constexpr const char* listeningHost = "127.0.0.1";

using Words = std::vector<std::string>;

NCRef<DSName> nameOf(const std::string& text, const std::string& reference = "") {
    NCRef<DSResource> value;
    if (!reference.empty())
        value = new DSName(reference.c_str(), dsArgType, DSServiceReference);
    return new DSName(text.c_str(), dsArgType, DSServiceManual, value.get());
}

std::string placeOf(const DSAddr& address) {
    return std::string(address.dottedAddr()) + ":" + std::to_string(address.port());
}

class Handler : public DSTriggerHandler {
public:
    explicit Handler(bool asks) : asks_(asks) {}

    void serviceUp(DSProvider* provider) override {
        tell("up", *provider);
        if (!asks_)
            return;
        int status = 0;
        const NCRef<DSName> name = nameOf(provider->name().name());
        const NCRef<DSProvider> found = DSUser::instance(false)->locate(name.get(), status, 0);
        std::cout << "nested " << provider->name().name() << " " << status << std::endl;
    }
    void serviceDown(DSProvider* provider) override { tell("down", *provider); }

private:
    static void tell(const char* event, const DSProvider& provider) {
        std::cout << event << " " << provider.name().name() << " " << provider.addr().port() << std::endl;
    }

    bool asks_;
};

class Verifier : public DSVerify {
protected:
    void peerUp() override { std::cout << "peer up" << std::endl; }
    void peerDown() override { std::cout << "peer down" << std::endl; }
};

class Probe : public dpIOHandler {
public:
    explicit Probe(DSUser& session) : session_(session) {}

    int inputReady(int fd) override {
        char piece[4096];
        const ssize_t count = ::read(fd, piece, sizeof piece);
        if (count <= 0)
            std::exit(0);
        input_.append(piece, static_cast<size_t>(count));
        for (size_t end; (end = input_.find('\n')) != input_.npos;) {
            const std::string line = input_.substr(0, end);
            input_.erase(0, end + 1);
            execute(line);
        }
        return 0;
    }

private:
    void execute(const std::string& line) {
        std::istringstream stream(line);
        Words words;
        for (std::string word; stream >> word;)
            words.push_back(word);
        words.resize(std::max<size_t>(words.size(), 1));
        const std::string command = words[0];
        words.resize(3);
        if (command == "quit")
            std::exit(0);
        if (const auto found = commands_.find(command); found != commands_.end())
            (this->*found->second)(words);
        else
            std::cout << "what: " << line << std::endl;
    }

    void state(const Words&) {
        std::cout << "state " << session_.isLoggedIn() << " " << session_.agentAddr().dottedAddr() << " "
                  << session_.agentAddr().port() << std::endl;
    }

    void registerProvider(const Words& words) {
        auto& provider = providers_[words[1]];
        if (!provider)
            provider = new DSProvider(*nameOf(words[1], words[2]), DSAddr(listeningPort, listeningHost));
        result(words, session_.registerProvider(provider.get()));
    }

    void unregisterProvider(const Words& words) {
        NCRef<DSProvider> provider = providers_[words[1]];
        if (!provider)
            provider = new DSProvider(*nameOf(words[1]), DSAddr(listeningPort, listeningHost));
        result(words, session_.unregisterProvider(provider.get()));
    }

    void registerTrigger(const Words& words) {
        auto& handler = handlers_[words[1]];
        if (!handler)
            handler = std::make_unique<Handler>(words[0] == "nested");
        result(words, session_.registerTrigger(nameOf(words[1]).get(), handler.get()));
    }

    void unregisterTrigger(const Words& words) {
        result(words, session_.unregisterTrigger(nameOf(words[1]).get(), handlers_[words[1]].get()));
    }

    void locate(const Words& words) {
        int status = 0;
        const int limit = words[2].empty() ? 0 : std::stoi(words[2]);
        const NCRef<DSName> name = nameOf(words[1]);
        const NCRef<DSProvider> found = session_.locate(name.get(), status, limit);
        std::cout << "locate " << words[1] << " " << status;
        if (found)
            std::cout << " " << found->addr().dottedAddr() << " " << found->addr().port() << " "
                      << found->agentAddr().dottedAddr();
        std::cout << std::endl;
    }

    void agents(const Words& words) {
        int status = 0;
        const NCRef<DSSet> set = session_.agents(status);
        list<DSAddr>(words[0], status, set.get(), placeOf);
    }

    void names(const Words& words) {
        int status = 0;
        const NCRef<DSSet> set = session_.names(status, words[1] != "here");
        list<DSName>(words[0], status, set.get(),
                     [](const DSName& name) { return std::string(name.name()); });
    }

    void providers(const Words& words) {
        int status = 0;
        const NCRef<DSSet> set = session_.providers(nameOf(words[1]).get(), status, words[2] != "here");
        list<DSProvider>(words[0], status, set.get(),
                         [](const DSProvider& one) { return placeOf(one.addr()); });
    }

    void unreachable(const Words& words) {
        const NCRef<DSProvider> provider =
            new DSProvider(*nameOf(words[1]), DSAddr(listeningPort, listeningHost));
        provider->setAgentAddr(DSAddr(session_.port(), words[2].c_str()));
        session_.providerDown(provider.get());
        result(words, 0);
    }

    void verify(const Words& words) {
        result({words[0]}, verifier_.verify(DSAddr(std::stoi(words[2]), words[1].c_str())));
    }

    static void result(const Words& words, int status) {
        std::cout << words[0] << (words.size() > 1 ? " " + words[1] : "") << " " << status << std::endl;
    }

    template <class T>
    static void list(const std::string& what, int status, const DSSet* set,
                     const std::function<std::string(const T&)>& text) {
        Words found;
        if (set) {
            for (const DSResource* element : *set)
                found.push_back(text(*static_cast<const T*>(element)));
        }
        std::ranges::sort(found);
        std::cout << what << " " << status << (set ? "" : " none");
        for (const std::string& one : found)
            std::cout << " " << one;
        std::cout << std::endl;
    }

    using Command = void (Probe::*)(const Words&);
    const std::map<std::string, Command> commands_ = {{"state", &Probe::state},
                                                      {"register", &Probe::registerProvider},
                                                      {"unregister", &Probe::unregisterProvider},
                                                      {"trigger", &Probe::registerTrigger},
                                                      {"nested", &Probe::registerTrigger},
                                                      {"untrigger", &Probe::unregisterTrigger},
                                                      {"locate", &Probe::locate},
                                                      {"agents", &Probe::agents},
                                                      {"names", &Probe::names},
                                                      {"providers", &Probe::providers},
                                                      {"unreachable", &Probe::unreachable},
                                                      {"verify", &Probe::verify}};
    DSUser& session_;
    std::string input_;
    std::map<std::string, NCRef<DSProvider>> providers_;
    std::map<std::string, std::unique_ptr<Handler>> handlers_;
    Verifier verifier_;
};

} // namespace

int main(int argc, char** argv) {
    CORBA_ORB_init(argc, argv);
    if (argc == 3 && std::string(argv[1]) == "--keepalive")
        DSUser::setKeepAlivePeriod(std::stoi(argv[2]));
    DSUser* session = DSUser::instance(true);
    if (!session)
        return 1;
    // Lives until the process is gone: what it holds, the session holds too until its own end.
    static auto& probe = *new Probe(*session);
    dpDispatcher::instance()->link(STDIN_FILENO, dpDispatcher::readMask, &probe);
    std::cout << "ready " << session->isLoggedIn() << std::endl;
    for (;;)
        dpDispatcher::instance()->dispatch();
}
