// Announces objects to the location agent for as long as it runs, as a server would.
//
//     announce IDL:Bank/Account:1.0=Alice IDL:Bank/Account:1.0=Bob
//     announce --oad IDL:Bank/Teller:1.0
//     announce --exact - < names.txt
//
// It shows what a program needs of the agent client: start the ORB, take the session, register providers, and
// turn the event loop, which keeps the session alive and moves the registrations to another agent when one
// goes away.

#include <harbolance/agent.h>
#include <harbolance/corba.h>

#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr const char* usage =
    "Usage: announce [options] REPOSITORY_ID[=OBJECT_NAME] ...\n"
    "       announce [options] -            take them from standard input, one a line\n"
    "  --address HOST     where the objects listen (default: this host)\n"
    "  --port N           and their port there (default: 0)\n"
    "  --oad              as registered with an activation daemon, not started by hand\n"
    "  --exact            register each text as it stands, not under the forms that clients ask for\n"
    "  --reference TEXT   carry this stringified reference in each registration\n";

struct Options {
    std::string address;
    int port = 0;
    int serviceType = DSServiceManual;
    bool exact = false;
    std::string reference;
    std::vector<std::string> objects;
};

[[noreturn]] void refuse(const std::string& problem) {
    std::cerr << "announce: " << problem << "; try --help\n";
    std::exit(2);
}

int portOf(const char* text) {
    char* end = nullptr;
    const long port = std::strtol(text, &end, 10);
    if (end == text || *end || port < 0 || port > 65535)
        refuse(std::string("no port: ") + text);
    return static_cast<int>(port);
}

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view word = argv[i];
        const auto value = [&] {
            if (i + 1 == argc)
                refuse(std::string(word) + " needs a value");
            return argv[++i];
        };
        if (word == "--help") {
            std::cout << usage;
            std::exit(0);
        }
        if (word == "--address")
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
        else if (word.substr(0, 1) == "-")
            refuse("unknown option " + std::string(word));
        else
            options.objects.emplace_back(word);
    }
    if (options.objects.empty())
        refuse("nothing to announce");
    return options;
}

// The texts under which clients look for an object: its interface and its name, anywhere or on this host.
std::vector<std::string> namesOf(const std::string& object, const std::string& host) {
    const size_t equals = object.find('=');
    const std::string id = object.substr(0, equals);
    std::vector<std::string> names = {id, host + "_" + id};
    if (equals != std::string::npos && equals + 1 < object.size()) {
        const std::string name = object.substr(equals + 1);
        names.push_back(host + "_" + id + "_" + name);
        names.push_back(id + "_" + name);
    }
    return names;
}

// How many names the agent took.
size_t announce(DSUser& session, const Options& options, const DSAddr& address) {
    size_t taken = 0;
    const std::string host = address.dottedAddr();
    for (const std::string& object : options.objects) {
        const auto names = options.exact ? std::vector<std::string>{object} : namesOf(object, host);
        for (const std::string& text : names) {
            NCRef<DSResource> reference;
            if (!options.reference.empty())
                reference = new DSName(options.reference.c_str(), dsArgType, DSServiceReference);
            const DSName name(text.c_str(), dsArgType, options.serviceType, reference.get());
            const NCRef<DSProvider> provider = new DSProvider(name, address);
            const int status = session.registerProvider(provider.get());
            if (status == DSUser::done)
                ++taken;
            else if (status != DSUser::knownProvider) // two objects share the names of their interface
                std::cerr << "announce: the agent did not take " << text << " (status " << status << ")\n";
        }
    }
    return taken;
}

} // namespace

int main(int argc, char** argv) {
    CORBA::ORB_init(argc, argv);
    TRXORB::current()->parse(argc, argv, "-OA");
    const Options options = parse(argc, argv);
    const DSAddr address =
        options.address.empty() ? DSAddr(options.port) : DSAddr(options.port, options.address.c_str());
    if (address.addr() == INADDR_NONE)
        refuse("unknown host " + options.address);
    DSUser* session = DSUser::instance(true);
    if (!session || !session->isLoggedIn()) {
        std::cerr << "announce: no location agent at port " << (session ? session->port() : 0)
                  << " of this network; start one, or name one with LOCD_ADDR\n";
        return 1;
    }
    const size_t taken = announce(*session, options, address);
    std::cout << "announce: " << taken << " names at agent " << session->agentAddr().dottedAddr()
              << std::endl;
    for (;;)
        dpDispatcher::instance()->dispatch();
}
