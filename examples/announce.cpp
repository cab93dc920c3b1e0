// Announces objects to the location agent for as long as it runs, as a server would:
//
//     announce IDL:Bank/Account:1.0=Alice IDL:Bank/Account:1.0=Bob
//
// The steps by which a program registers something with an agent are in `main`, numbered 1 to 7. The rest of
// this file reads the command line.

#include <harbolance/agent.h>
#include <harbolance/corba.h>

#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#ifndef ANNOUNCE_VERSION
#define ANNOUNCE_VERSION "(built by itself)"
#endif

namespace {

constexpr const char* usage =
    "Usage: announce [OPTION]... REPOSITORY_ID[=OBJECT_NAME]...\n"
    "       announce [OPTION]... -      read them from standard input, one a line\n"
    "Announces objects to a location agent for as long as it runs.\n"
    "\n"
    "  --address HOST     where the objects listen (default: this host)\n"
    "  --port N           and their port there (default: 0)\n"
    "  --oad              as registered with an activation daemon, not started by hand\n"
    "  --exact            register each text as it stands, without a reference\n"
    "  --reference TEXT   carry this stringified reference in each registration\n"
    "  --help             print this and exit\n"
    "  --version          print the version and exit\n";

struct Options {
    std::string address;
    int port = 0;
    int serviceType = DSServiceManual;
    bool exact = false;
    std::string reference;
    std::vector<std::string> objects;
};

[[noreturn]] void refuse(const std::string& problem) {
    std::cerr << "announce: " << problem << "; see announce --help\n";
    std::exit(2);
}

[[noreturn]] void tell(const std::string& text) {
    std::cout << text;
    std::exit(0);
}

int portOf(const std::string& text) {
    char* end = nullptr;
    const long port = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || *end || port < 0 || port > 65535)
        refuse("'" + text + "' is no port number (0 to 65535)");
    return static_cast<int>(port);
}

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const auto value = [&] {
            if (i + 1 == argc)
                refuse("option '" + word + "' needs a value");
            return std::string(argv[++i]);
        };
        if (word == "--help")
            tell(usage);
        else if (word == "--version")
            tell("announce " ANNOUNCE_VERSION "\n");
        else if (word == "--address")
            options.address = value();
        else if (word == "--port")
            options.port = portOf(value());
        else if (word == "--oad")
            options.serviceType = DSServiceOad;
        else if (word == "--exact")
            options.exact = true;
        else if (word == "--reference")
            options.reference = value();
        else if (word == "-")
            for (std::string line; std::getline(std::cin, line);) {
                if (!line.empty())
                    options.objects.push_back(line);
            }
        else if (word.starts_with('-'))
            refuse("unknown option '" + word + "'");
        else
            options.objects.push_back(word);
    }
    if (options.objects.empty())
        refuse("there is nothing to announce");
    return options;
}

// The registrations of one object.
struct Announced {
    std::vector<std::string> names;
    std::string reference;
};

// A reference to an object of that interface and name at the address, as a server would make it.
std::string referenceTo(const std::string& id, const std::string& name, const DSAddr& address) {
    const TRXRef<TRXObjectId> object(new TRXPersistentId(id.c_str(), name.c_str()));
    IIOP::ProfileBody body;
    body.host = address.dottedAddr();
    body.port = static_cast<CORBA::UShort>(address.port());
    body.object_key = *CORBA_OctetSequence_var(TRXUtil::key_from_id(*object));
    IOP::IOR ior;
    ior.type_id = id.c_str();
    TRXUtil::set_iiop_body(ior, body);
    return CORBA::String_var(TRXUtil::ior_to_string(ior)).in();
}

// The texts under which clients look for an object: its interface and its name, on any host or on this one.
Announced announcedAs(const std::string& object, const DSAddr& address) {
    const std::string host = address.dottedAddr();
    const size_t equals = object.find('=');
    const std::string id = object.substr(0, equals);
    const std::string name = equals == std::string::npos ? "" : object.substr(equals + 1);
    Announced announced{{id, host + "_" + id}, referenceTo(id, name, address)};
    if (!name.empty()) {
        announced.names.push_back(host + "_" + id + "_" + name);
        announced.names.push_back(id + "_" + name);
    }
    return announced;
}

// One registration. A record is held by NCRef for as long as it is needed here; the session holds what it has
// registered, and registers it again with the next agent when one goes away.
bool announce(DSUser& session, const std::string& text, const std::string& reference, int serviceType,
              const DSAddr& address) {
    NCRef<DSResource> value; // an extra record, sent with the name
    if (!reference.empty())
        value = new DSName(reference.c_str(), dsArgType, DSServiceReference);
    const DSName name(text.c_str(), dsArgType, serviceType, value.get());
    const NCRef<DSProvider> provider = new DSProvider(name, address);
    const int status = session.registerProvider(provider.get());
    // Objects with the same reference share the names of their interface.
    if (status != DSUser::done && status != DSUser::knownProvider)
        std::cerr << "announce: the agent did not take " << text << " (status " << status << ")\n";
    return status == DSUser::done;
}

// SIGTERM and SIGINT as input of the event loop, so that the process ends in `main`.
class Stop : public dpIOHandler {
public:
    Stop() {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGTERM);
        sigaddset(&set, SIGINT);
        sigprocmask(SIG_BLOCK, &set, nullptr);
        fd_ = signalfd(-1, &set, SFD_CLOEXEC);
        dpDispatcher::instance()->link(fd_, dpDispatcher::readMask, this);
    }
    ~Stop() override {
        dpDispatcher::instance()->unlink(fd_);
        close(fd_);
    }

    int inputReady(int) override {
        requested = true;
        return -1;
    }

    bool requested = false;

private:
    int fd_;
};

} // namespace

int main(int argc, char** argv) {
    // 1. The reader of the output may go away; that must not end the process.
    std::signal(SIGPIPE, SIG_IGN);

    // 2. The ORB takes its own options (-ORB..., -OA...) out of the command line.
    CORBA::ORB_init(argc, argv);
    TRXORB::current()->parse(argc, argv, "-OA");
    const Options options = parse(argc, argv);

    // 3. The address at which clients will call the objects.
    const DSAddr address =
        options.address.empty() ? DSAddr(options.port) : DSAddr(options.port, options.address.c_str());
    if (address.addr() == INADDR_NONE)
        refuse("there is no host '" + options.address + "'");

    // 4. The session: it looks for an agent and logs in.
    DSUser* session = DSUser::instance(true);
    if (!session || !session->isLoggedIn()) {
        std::cerr << "announce: no location agent at port " << (session ? session->port() : 0)
                  << " of this network; start one, or name one with LOCD_ADDR\n";
        return 1;
    }

    // 5. Each name is registered separately. From here on a signal must not end the process at once: see step
    // 7.
    Stop stop;
    size_t taken = 0;
    for (const std::string& object : options.objects) {
        const Announced announced = options.exact ? Announced{{object}, ""} : announcedAs(object, address);
        const std::string& reference = options.reference.empty() ? announced.reference : options.reference;
        for (const std::string& text : announced.names)
            taken += announce(*session, text, reference, options.serviceType, address) ? 1 : 0;
    }
    std::cout << "announce: " << taken << " names at agent " << session->agentAddr().dottedAddr()
              << std::endl;

    // 6. The event loop keeps the session alive: the agent drops a process that does not run it.
    while (!stop.requested)
        dpDispatcher::instance()->dispatch();

    // 7. At the end of the process the session tells its agent, which withdraws the names at once.
    return 0;
}
