// A program as the standard C++ mapping has it. install_test.py compiles it against the installed tree.

#include <harbolance/corba.h>

#include <cstring>
#include <iostream>

int main(int argc, char** argv) {
    CORBA::Any any;
    any <<= CORBA::Long(42);
    CORBA::Long number = 0;
    CORBA::String_var text = CORBA::string_dup("text");
    const bool numbersTravel = (any >>= number) && number == 42 && !(any >>= text.out());
    any <<= CORBA::Any::from_boolean{1};
    CORBA::Boolean flag = 0;
    const CORBA::Any_var copy = new CORBA::Any(any);
    const CORBA::TypeCode_var type = copy->type();
    const bool flagsTravel = (*copy >>= CORBA::Any::to_boolean{flag}) && flag &&
                             type->kind() == CORBA::tk_boolean && type->equal(CORBA::_tc_boolean);

    bool basesCatch = false;
    try {
        throw CORBA::NO_IMPLEMENT(7, CORBA::COMPLETED_MAYBE);
    } catch (const CORBA::SystemException& raised) {
        basesCatch = raised.minor() == 7 && raised.completed() == CORBA::COMPLETED_MAYBE &&
                     std::strcmp(raised._repository_id(), "IDL:omg.org/CORBA/NO_IMPLEMENT:1.0") == 0;
    }

    const CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
    CORBA::Object_ptr nothing = CORBA::Object::_nil();
    CORBA::release(nothing);
    try {
        nothing = orb->resolve_initial_references("Nothing");
    } catch (const CORBA::ORB::InvalidName&) {
        nothing = CORBA::Object::_nil();
    }
    const bool well =
        !CORBA::is_nil(orb) && CORBA::is_nil(nothing) && numbersTravel && flagsTravel && basesCatch;
    std::cout << (well ? "by the book" : "not by the book") << std::endl;
    return well ? 0 : 1;
}
