// The bank: prints the reference of its branch, and serves it and its accounts until it is ended.

#include "accounts.h"

#include <iostream>

int main(int argc, char** argv) {
    try {
        CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
        CORBA::BOA_var boa = orb->BOA_init(argc, argv);
        Bank::Branch_var branch = new BranchImpl(boa);
        boa->obj_is_ready(branch);
        CORBA::String_var reference = orb->object_to_string(branch);
        std::cout << reference << std::endl;
        boa->impl_is_ready();
        return 0;
    } catch (const CORBA::Exception& exception) {
        std::cerr << exception;
        return 1;
    }
}
