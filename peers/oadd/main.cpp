#include "oadd/gate.h"
#include "oadd/options.h"
#include "oadd/signals.h"

#include "orb/vorb.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>

using namespace harbolance;

namespace {

constexpr int usageError = 2;

// Opens standard streams that are closed. Otherwise the first socket would get such a number, and printed
// output would be sent on it.
void openStandardStreams() {
    int fd = 0;
    while (fd >= 0 && fd <= STDERR_FILENO)
        fd = ::open("/dev/null", O_RDWR);
    close(fd);
}

int fail(const std::string& message) {
    std::fprintf(stderr, "oadd: %s\n", message.c_str());
    return EXIT_FAILURE;
}

CORBA_BOA* openAdapter(CORBA_ORB& orb, std::vector<std::string> words) {
    std::vector<char*> argv = {const_cast<char*>("oadd")};
    for (std::string& word : words)
        argv.push_back(word.data());
    int argc = static_cast<int>(argv.size());
    argv.push_back(nullptr);
    return orb.BOA_init(argc, argv.data());
}

// The daemon's object is named after its host's address, so that a client that looks for the daemon again by
// interface and name finds the one of the same host.
std::string addressOf(CORBA_BOA& boa) {
    const std::unique_ptr<IOP::TaggedProfile> profile(
        dynamic_cast<TRXAdapter&>(boa).profile(CORBA_OctetSequence()));
    return IIOP::decoded(profile->profile_data).host.in();
}

// Options for servers, so that they look for their agent where the daemon does.
std::vector<std::string> domainWords() {
    std::vector<std::string> words;
    for (const char* key : {"ORBagent", "ORBagentaddr", "ORBagentport"}) {
        if (const auto value = TRXORB::current()->property(key))
            words.insert(words.end(), {std::string("-") + key, *value});
    }
    return words;
}

bool writeReference(const std::string& path, const std::string& reference) {
    std::ofstream file(path);
    return file << reference << std::endl && true;
}

// Never destroyed, because connections refer to it until the library closes them after `main`.
struct Parts {
    explicit Parts(const oadd::Options& options)
        : access(options.allow), file(options.file), registrations(file), servers(programs, options.limits),
          lookups(registrations, servers), daemon{programs, access, registrations, servers, lookups},
          signals(servers, lookups) {}

    oadd::Programs programs;
    oadd::Access access;
    oadd::RegistrationFile file;
    oadd::Registrations registrations;
    oadd::Servers servers;
    oadd::Lookups lookups;
    oadd::Daemon daemon;
    oadd::Signals signals;
    oadd::Servant* servant = nullptr; // never destroyed either
    std::optional<oadd::References> references;
    std::optional<oadd::Announcer> announcer;
};

// Makes the daemon's object ready, and announces it and the registered objects. Raises the adapter's
// exception when it cannot listen.
void open(const oadd::Options& options, Parts& parts) {
    CORBA_ORB* orb = CORBA_ORB_init();
    const TRXRef<TRXServerInterceptorFactory> gates(new oadd::GateFactory(parts.daemon));
    TRXChainServerIntercepFactory::add(gates.get());
    CORBA_BOA* boa = openAdapter(*orb, options.adapterWords);
    parts.servant = new oadd::Servant(addressOf(*boa).c_str(), parts.daemon);
    boa->obj_is_ready(parts.servant);
    const bool announces =
        TRXORB::current()->agentEnabled() && dynamic_cast<TRXAdapter&>(*boa).flag("OAagent").value_or(true);
    parts.daemon.references = &parts.references.emplace(*orb, parts.servant);
    parts.daemon.announcer = &parts.announcer.emplace(*parts.references, announces);
    if (parts.references->host().starts_with("127.") && !dynamic_cast<TRXAdapter&>(*boa).property("OAipaddr"))
        oadd::log(oadd::LogLevel::warning, "references lead to " + parts.references->host() +
                                               ", to which this host's name resolves and which no other host "
                                               "reaches; name an address with --address");
    parts.servers.use({parts.references->text(), domainWords()});
    for (const auto& entry : parts.registrations.all())
        parts.announcer->announce(entry->object);
}

// Serves until a signal ends it. The announcements are withdrawn when the session ends with the process.
int serve(const oadd::Options& options, Parts& parts) {
    if (!parts.signals.open())
        return fail(std::string("cannot receive signals: ") + std::strerror(errno));
    const oadd::References& references = *parts.references;
    if (!options.referenceFile.empty() && !writeReference(options.referenceFile, references.text()))
        return fail("cannot write " + options.referenceFile + ": " + std::strerror(errno));
    std::printf("oadd: listening on %s port %d\n", references.host().c_str(), references.port());
    std::fflush(stdout);
    while (!parts.signals.done())
        dpDispatcher::instance()->dispatch();
    return EXIT_SUCCESS;
}

int run(const oadd::Options& options) {
    if (geteuid() == 0 && !options.asRoot)
        return fail("this would start servers as root; run it as another user, or with --as-root");
    oadd::setLogLevel(options.logLevel);
    static Parts& parts = *new Parts(options);
    for (const std::string& folder : options.programs) {
        if (const auto complaint = parts.programs.add(folder))
            return fail(*complaint);
    }
    if (options.programs.empty())
        oadd::log(oadd::LogLevel::warning, "no server can be started without --programs FOLDER");
    // Processes that a server leaves behind become children of the daemon.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    if (const auto complaint = parts.registrations.load())
        return fail(*complaint);
    try {
        open(options, parts);
    } catch (const CORBA_Exception& exception) {
        return fail(std::string("cannot listen: ") + exception._name() +
                    "; choose another --address or --port");
    }
    return serve(options, parts);
}

} // namespace

int main(int argc, char** argv) {
    openStandardStreams();
    oadd::Signals::hold();
    CORBA_ORB_init(argc, argv);
    const oadd::Command command = oadd::readCommand(argc, argv, std::getenv("STATE_DIRECTORY"));
    switch (command.action) {
    case oadd::Command::Action::help: std::fputs(oadd::usage(), stdout); return EXIT_SUCCESS;
    case oadd::Command::Action::version: std::puts("oadd " OADD_VERSION); return EXIT_SUCCESS;
    case oadd::Command::Action::refuse:
        std::fprintf(stderr, "oadd: %s; see oadd --help\n", command.complaint.c_str());
        return usageError;
    case oadd::Command::Action::run: break;
    }
    return run(command.options);
}
