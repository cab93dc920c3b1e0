// A program as the standard C++ mapping has it. install_test.py compiles it against the installed tree.

#include <harbolance/corba.h>

#include <cstring>
#include <iostream>

namespace {

bool valuesTravel() {
    CORBA::Any any;
    any <<= CORBA::Long(42);
    CORBA::Long number = 0;
    CORBA::String_var text = CORBA::string_dup("text");
    if (!(any >>= number) || number != 42 || (any >>= text.out()))
        return false;
    any <<= CORBA::Any::from_boolean{1};
    CORBA::Boolean flag = 0;
    const CORBA::Any_var copy = new CORBA::Any(any);
    const CORBA::TypeCode_var type = copy->type();
    return (*copy >>= CORBA::Any::to_boolean{flag}) && flag && type->kind() == CORBA::tk_boolean &&
           type->equal(CORBA::_tc_boolean);
}

bool exceptionsAreCaughtByTheirBases() {
    try {
        throw CORBA::NO_IMPLEMENT(7, CORBA::COMPLETED_MAYBE);
    } catch (const CORBA::SystemException& raised) {
        return raised.minor() == 7 && raised.completed() == CORBA::COMPLETED_MAYBE &&
               std::strcmp(raised._repository_id(), "IDL:omg.org/CORBA/NO_IMPLEMENT:1.0") == 0;
    }
}

bool unknownReferenceIsRefused(CORBA::ORB_ptr orb) {
    try {
        const CORBA::Object_var object = orb->resolve_initial_references("Nothing");
        return CORBA::is_nil(object);
    } catch (const CORBA::ORB::InvalidName&) {
        return true;
    }
}

} // namespace

int main(int argc, char** argv) {
    const CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
    CORBA::Object_ptr nothing = CORBA::Object::_nil();
    CORBA::release(nothing);
    const bool well = !CORBA::is_nil(orb) && CORBA::is_nil(nothing) && valuesTravel() &&
                      exceptionsAreCaughtByTheirBases() && unknownReferenceIsRefused(orb);
    std::cout << (well ? "by the book" : "not by the book") << std::endl;
    return well ? 0 : 1;
}
