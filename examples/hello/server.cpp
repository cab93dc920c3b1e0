// Prints the reference of its one object, and serves it until it is ended: hello-server [NAME]
//
// With a name the object is announced to a location agent, and clients find it by that.

#include "hello_skel.h"

#include <iostream>

class Greeter : public _sk_Hello {
public:
    explicit Greeter(const char* name) : _sk_Hello(name) {}

    char* greet(const char* name) override {
        return CORBA::string_dup(("Hello, " + std::string(name) + "!").c_str());
    }
};

int main(int argc, char** argv) {
    try {
        CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
        CORBA::BOA_var boa = orb->BOA_init(argc, argv);
        Hello_var greeter = new Greeter(argc > 1 ? argv[1] : nullptr);
        boa->obj_is_ready(greeter);
        CORBA::String_var reference = orb->object_to_string(greeter);
        std::cout << reference << std::endl;
        boa->impl_is_ready();
        return 0;
    } catch (const CORBA::Exception& exception) {
        std::cerr << exception;
        return 1;
    }
}
