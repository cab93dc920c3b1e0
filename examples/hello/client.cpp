// Greets through the reference that the server has printed: hello-client REFERENCE [NAME]

#include "hello_stub.h"

#include <iostream>

int main(int argc, char** argv) {
    try {
        CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
        CORBA::Object_var object = orb->string_to_object(argc > 1 ? argv[1] : "");
        Hello_var hello = Hello::_narrow(object);
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
