// Serves what hello-server serves, and prints what passes.

#include "hello_skel.h"
#include "tracing.h"

#include <iostream>
#include <string>

class Greeter : public _sk_Hello {
public:
    char* greet(const char* name) override {
        if (!*name)
            throw CORBA::BAD_PARAM();
        return CORBA::string_dup(("Hello, " + std::string(name) + "!").c_str());
    }
};

int main(int argc, char** argv) {
    try {
        tracing::traceServer();
        const CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
        const CORBA::BOA_var boa = orb->BOA_init(argc, argv);
        const Hello_var greeter = new Greeter;
        boa->obj_is_ready(greeter);
        const CORBA::String_var reference = orb->object_to_string(greeter);
        std::cout << reference << std::endl;
        boa->impl_is_ready();
        return 0;
    } catch (const CORBA::Exception& exception) {
        std::cerr << exception << std::endl;
        return 1;
    }
}
