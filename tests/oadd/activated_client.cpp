// For each line on standard input calls the object of the command line, a reference or a name, and prints the
// number of the process that serves it, or the name of the exception raised.

#include "activated_stub.h"

#include <iostream>
#include <string>

int main(int argc, char** argv) {
    try {
        const CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
        const std::string given = argc > 1 ? argv[1] : "";
        const bool named = !given.starts_with("IOR:");
        const CORBA::Object_var reference = named ? nullptr : orb->string_to_object(given.c_str());
        const Activated_var object = named ? Activated::_bind(given.c_str()) : Activated::_narrow(reference);
        for (std::string line; std::getline(std::cin, line);) {
            try {
                std::cout << object->process() << std::endl;
            } catch (const CORBA::Exception& exception) {
                std::cout << exception._name() << std::endl;
            }
        }
        return 0;
    } catch (const CORBA::Exception& exception) {
        std::cerr << exception << std::endl;
        return 1;
    }
}
