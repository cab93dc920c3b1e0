// Serves objects of the interface Activated, each with the name of a word of the command line. Words of the
// form -MODE say how it behaves:
//
//     -fork        a child of the process serves, the process itself ends
//     -wait=FIFO   it makes nothing active until that is opened for writing
//     -end         it ends at once
//     -deaf        it takes no SIGTERM before it makes its objects active

#include "activated_skel.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <list>
#include <string>

namespace {

class Servant : public _sk_Activated {
public:
    explicit Servant(const char* name) : _sk_Activated(name) {}
    CORBA::Long process() override { return getpid(); }
};

void behave(const std::string& mode) {
    if (mode == "-end")
        _exit(3);
    if (mode == "-deaf")
        std::signal(SIGTERM, SIG_IGN);
    if (mode == "-fork" && fork() != 0)
        _exit(0);
    if (mode.starts_with("-wait=")) {
        close(open(mode.substr(mode.find('=') + 1).c_str(), O_RDONLY)); // waits
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        for (int i = 1; i < argc; ++i)
            behave(argv[i]);
        const CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
        const CORBA::BOA_var boa = orb->BOA_init(argc, argv);
        std::list<Activated_var> objects;
        for (int i = 1; i < argc; ++i) {
            if (argv[i][0] == '-')
                continue;
            Activated_var& object = objects.emplace_back(new Servant(argv[i]));
            boa->obj_is_ready(object);
        }
        std::cout << "ready" << std::endl;
        boa->impl_is_ready();
        return 0;
    } catch (const CORBA::Exception& exception) {
        std::cerr << exception << std::endl;
        return 1;
    }
}
