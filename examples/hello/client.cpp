// Greets: hello-client [WHICH [NAME]]
//
// WHICH is the reference that a server has printed, or the name under which one has announced its object.
// Without it any Hello of the domain will do.

#include "hello_stub.h"

#include <iostream>
#include <string>

Hello_ptr find(CORBA::ORB_ptr orb, const std::string& which) {
    if (!which.starts_with("IOR:"))
        return Hello::_bind(which.c_str()); // by way of a location agent
    CORBA::Object_var object = orb->string_to_object(which.c_str());
    return Hello::_narrow(object);
}

int main(int argc, char** argv) {
    try {
        CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
        Hello_var hello = find(orb, argc > 1 ? argv[1] : "");
        if (CORBA::is_nil(hello)) {
            std::cerr << "hello-client: no Hello behind this reference\n";
            return 1;
        }
        CORBA::String_var answer = hello->greet(argc > 2 ? argv[2] : "world");
        std::cout << answer << std::endl;
        return 0;
    } catch (const CORBA::Exception& exception) {
        std::cerr << exception;
        return 1;
    }
}
