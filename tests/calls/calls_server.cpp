// Serves an Echo with the name of the first argument, or without one, and prints its reference. The usual
// options come after it; CALLS_CONNECTIONS in the environment limits the connections,
// CALLS_POLICY is the activation policy.

#include "echo_servant.h"

#include <cstdlib>
#include <iostream>

int main(int argc, char** argv) {
    try {
        const CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
        const CORBA::BOA_var boa = orb->BOA_init(argc, argv);
        const Calls::Echo_var servant = new EchoServant(argc > 1 ? argv[1] : nullptr);
        if (const char* most = std::getenv("CALLS_CONNECTIONS"))
            boa->connection_max(static_cast<CORBA::ULong>(std::atoi(most)));
        if (const char* policy = std::getenv("CALLS_POLICY"))
            dynamic_cast<TRXAdapter&>(*boa.in()).activation_policy(
                static_cast<CORBA::ULong>(std::atoi(policy)));
        boa->obj_is_ready(servant);
        const CORBA::String_var reference = orb->object_to_string(servant);
        std::cout << reference << std::endl;
        boa->impl_is_ready();
        return 0;
    } catch (const CORBA::Exception& exception) {
        std::cerr << exception << std::endl;
        return 1;
    }
}
