// Serves an Echo, named by the first argument or unnamed, and prints its reference. The usual options follow
// it. In the environment, CALLS_CONNECTIONS limits the connections and CALLS_POLICY is the activation policy.
// With CALLS_KIND=both the object is a Both, which is taken out of service when something arrives on standard
// input; with CALLS_KIND=service it is one object of the service of that name.

#include "echo_servant.h"
#include "net/dispatcher.h"

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <unistd.h>

namespace {

struct BothServant : _sk_Calls::_sk_Both {
    explicit BothServant(const char* name) : _sk_Both(name) {}
};

struct EchoActivator : Activator {
    CORBA_Object* activate(TRXEXT_ActivationImplDef* definition) override {
        auto* servant = new EchoServant;
        servant->_service(definition->object_name(), definition->id());
        return servant;
    }
    void deactivate(CORBA_Object* servant, TRXEXT_ActivationImplDef*) override { CORBA_release(servant); }
};

// Takes an object out of service.
struct Retirement : dpIOHandler {
    Retirement(CORBA::BOA_ptr adapter, CORBA::Object_ptr servant) : boa(adapter), object(servant) {}
    int inputReady(int) override {
        boa->deactivate_obj(object);
        return -1;
    }
    CORBA::BOA_ptr boa;
    CORBA::Object_ptr object;
};

} // namespace

int main(int argc, char** argv) {
    try {
        const CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
        const CORBA::BOA_var boa = orb->BOA_init(argc, argv);
        const char* name = argc > 1 ? argv[1] : nullptr;
        const std::string kind = std::getenv("CALLS_KIND") ? std::getenv("CALLS_KIND") : "";
        EchoActivator activator;
        CORBA::Object_var servant;
        if (kind == "service") {
            boa->impl_is_ready(name, &activator, 0);
            CORBA::OctetSequence id;
            id.length(static_cast<CORBA::ULong>(std::strlen(name)));
            TRXEXT_ActivationImplDef definition("*", name, id, &activator);
            servant = activator.activate(&definition);
        } else if (kind == "both") {
            servant = new BothServant(name);
        } else {
            servant = new EchoServant(name);
        }
        if (const char* most = std::getenv("CALLS_CONNECTIONS"))
            boa->connection_max(static_cast<CORBA::ULong>(std::atoi(most)));
        if (const char* policy = std::getenv("CALLS_POLICY"))
            dynamic_cast<TRXAdapter&>(*boa.in()).activation_policy(
                static_cast<CORBA::ULong>(std::atoi(policy)));
        boa->obj_is_ready(servant);
        const CORBA::String_var reference = orb->object_to_string(servant);
        std::cout << reference << std::endl;
        Retirement retirement(boa, servant);
        if (kind == "both")
            dpDispatcher::instance()->link(STDIN_FILENO, dpDispatcher::readMask, &retirement);
        boa->impl_is_ready();
        return 0;
    } catch (const CORBA::Exception& exception) {
        std::cerr << exception << std::endl;
        return 1;
    }
}
