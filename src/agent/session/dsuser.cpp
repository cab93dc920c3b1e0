#include "agent/session/dsuser.h"

#include "agent/records/dsamsg.h"
#include "agent/session/agent_link.h"
#include "agent/session/agent_queries.h"
#include "agent/session/registrations.h"
#include "agent/session/session_options.h"
#include "base/exit_list.h"
#include "base/standard_streams.h"

#include <cstdlib>

using namespace harbolance;

struct DSUser::Parts {
    Parts(DSUser& session, const char* loginName, const char* loginExtra)
        : link(session, registrations, loginName, loginExtra), registrations(link), queries(link) {}

    AgentLink link;
    Registrations registrations;
    AgentQueries queries;
};

namespace {

DSUser* theSession = nullptr;
bool exiting = false;

// The first that is not the default, of: the argument, -ORBagentport, LOCD_PORT.
int portOf(int port, int ofCommandLine) {
    if (port == dsDefaultPort && ofCommandLine != 0)
        port = ofCommandLine;
    const char* fromEnvironment = std::getenv("LOCD_PORT");
    if (port == dsDefaultPort && fromEnvironment)
        port = static_cast<int>(std::strtol(fromEnvironment, nullptr, 10));
    return port;
}

} // namespace

DSUser* DSUser::instance(bool create) {
    if (!theSession && create && !exiting)
        return DSUser::create(nullptr, nullptr, dsDefaultPort);
    return theSession;
}

DSUser* DSUser::create(const char* loginName, const char* loginExtra, int port) {
    auto* session = new DSUser(loginName, loginExtra);
    SessionOptions* options = SessionOptions::current();
    const int ofCommandLine = options->agentPort();
    port = portOf(port, ofCommandLine);
    // Stored, so that later readers of the option get the port in use.
    if (ofCommandLine != 0)
        options->setAgentPort(port);
    // The constructor has already installed this object as the session, for handlers that need it during the
    // search.
    session->parts_->link.open(port);
    if (!session->parts_->link.connection()) {
        standardOutput() << "DSUser:: Unable to contact agent. Make sure there "
                         << "is an agent running on this network" << std::endl;
    } else if (session->debug()) {
        standardOutput() << "DSUser:: Connected to agent [" << session->agentAddr() << "]" << std::endl;
    }
    return session;
}

DSUser::DSUser(const char* loginName, const char* loginExtra)
    : parts_(std::make_unique<Parts>(*this, loginName, loginExtra)) {
    if (const auto value = SessionOptions::current()->option("ORBagentDebug"))
        setDebug(std::strtol(value->c_str(), nullptr, 10) != 0);
    // Done before the first login, which tells the agent this port. Without a socket the port is 0, and the
    // agent cannot send are-you-alive requests.
    DSVerify::bind(0, nullptr);
    parts_->link.login().setVerifyPort(DSVerify::port());
    theSession = this;
    // Registered by the first session only; it ends whichever session exists at the exit.
    static const bool registered = (registerExitFunction(endAtExit), true);
    static_cast<void>(registered);
}

DSUser::~DSUser() {
    if (theSession == this)
        theSession = nullptr;
}

void DSUser::endAtExit() {
    // Set first, so that nothing below makes a new session.
    exiting = true;
    DSUser* session = std::exchange(theSession, nullptr);
    if (!session)
        return;
    session->parts_->link.close();
    // A handler that ends the ORB may return into a call of the session, which must then not be destroyed.
    if (!session->parts_->link.isInUse())
        delete session;
}

bool DSUser::isLoggedIn() const { return parts_->link.isLoggedIn(); }

const DSAddr& DSUser::agentAddr() const { return parts_->link.agentAddr(); }

int DSUser::port() const { return parts_->link.port(); }

void DSUser::setPort(int port) { parts_->link.setPort(port); }

void DSUser::setDebug(bool debug) {
    parts_->link.setDebug(debug);
    DSVerify::setDebug(debug);
}

int DSUser::keepAlivePeriod() { return AgentLink::keepAlivePeriod; }

void DSUser::setKeepAlivePeriod(int seconds) { AgentLink::keepAlivePeriod = seconds; }

int DSUser::request(DSRequest* request, NCrtt& rtt, int timeoutSeconds) {
    return parts_->link.ask(*request, rtt, timeoutSeconds, lastReply_);
}

NCRef<DSProvider> DSUser::locate(DSName* name, int& status, int timeoutSeconds) {
    return parts_->queries.locate(name, status, timeoutSeconds);
}

int DSUser::registerProvider(DSProvider* provider) {
    return parts_->registrations.registerProvider(provider);
}

int DSUser::unregisterProvider(DSProvider* provider) {
    return parts_->registrations.unregisterProvider(provider);
}

void DSUser::forgetProvider(DSProvider* provider) { parts_->registrations.forgetProvider(provider); }

int DSUser::registerTrigger(DSName* name, DSTriggerHandler* handler) {
    return parts_->registrations.registerTrigger(name, handler);
}

int DSUser::unregisterTrigger(DSName* name, DSTriggerHandler* handler) {
    return parts_->registrations.unregisterTrigger(name, handler);
}

void DSUser::providerDown(DSProvider* provider) {
    const NCRef<DSProvider> held = provider;
    const NCRef<DSAMessage> message = new DSAMessage(DSTypeProviderUnreachable, new DSProvider(*provider));
    NCudpstream stream;
    if (bindOwnAddress(stream) == 0)
        stream.sendTo(provider->agentAddr().socketAddress(), message.get());
}

NCRef<DSSet> DSUser::agents(int& status) { return parts_->queries.agents(status); }

NCRef<DSSet> DSUser::names(int& status, bool wait) { return parts_->queries.names(status, wait); }

NCRef<DSSet> DSUser::providers(DSName* name, int& status, bool wait) {
    return parts_->queries.providers(name, status, wait);
}

DSUser::Batch::Batch(DSUser& user) : user_(user) { user_.parts_->queries.beginBatch(); }

// The session may have ended since.
DSUser::Batch::~Batch() {
    if (theSession == &user_)
        user_.parts_->queries.endBatch();
}

int DSUser::inputReady(int) { return parts_->link.inputReady(); }

void DSUser::timerExpired(long, long) { parts_->link.timerExpired(); }
