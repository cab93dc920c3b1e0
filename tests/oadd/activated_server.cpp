// Serves objects of the interface Activated, each with the name of a word of the command line, and tells the
// daemon that has started it. Words of the form -MODE in front say how it behaves:
//
//     -fork   a child of the process serves, the process itself ends
//     -hang   it makes nothing active
//     -end    it ends at once
//     -deaf   it takes no SIGTERM

#include "activated_skel.h"

#include <harbolance/activation_stub.h>

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <list>
#include <string>

namespace {

class Servant : public _sk_Activated {
public:
    explicit Servant(const char* name) : CORBA_Object(), _sk_Activated(name) {}
    CORBA::Long process() override { return getpid(); }
};

void behave(const std::string& mode) {
    if (mode == "-end")
        _exit(3);
    if (mode == "-deaf")
        std::signal(SIGTERM, SIG_IGN);
    if (mode == "-fork" && fork() != 0)
        _exit(0);
    while (mode == "-hang")
        pause();
}

// What the adapter does for its objects once it has found a daemon.
void announce(CORBA::ORB_ptr orb, const char* daemon, const char* uid, Activated_ptr object) {
    const CORBA::Object_var reference = orb->string_to_object(daemon);
    const Activation::OAD_var oad = Activation::OAD::_narrow(reference);
    delete oad->boa_activate_obj(object, object->_interface_name(), std::atoi(uid));
}

} // namespace

int main(int argc, char** argv) {
    try {
        for (int i = 1; i < argc; ++i)
            behave(argv[i]);
        const char* daemon = harbolance::wordBehind(argc, argv, "-OAactivateIOR");
        const char* uid = harbolance::wordBehind(argc, argv, "-OAoad_uid");
        const CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
        const CORBA::BOA_var boa = orb->BOA_init(argc, argv);
        std::list<Activated_var> objects;
        for (int i = 1; i < argc; ++i) {
            if (argv[i][0] == '-')
                continue;
            Activated_var& object = objects.emplace_back(new Servant(argv[i]));
            boa->obj_is_ready(object);
            if (daemon && uid)
                announce(orb, daemon, uid, object);
        }
        boa->impl_is_ready();
        return 0;
    } catch (const CORBA::Exception& exception) {
        std::cerr << exception << std::endl;
        return 1;
    }
}
