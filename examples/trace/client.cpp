// Calls twice, and prints what passes: trace-client REFERENCE

#include "hello_stub.h"
#include "tracing.h"

#include <iostream>

int main(int argc, char** argv) {
    try {
        tracing::traceClient();
        const CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
        const CORBA::Object_var object = orb->string_to_object(argc > 1 ? argv[1] : "");
        const Hello_var hello = Hello::_narrow(object);
        if (CORBA::is_nil(hello)) {
            std::cerr << "trace-client: no Hello behind this reference\n";
            return 1;
        }
        const CORBA::String_var answer = hello->greet("trace");
        std::cout << answer << std::endl;
        try {
            const CORBA::String_var none = hello->greet("");
        } catch (const CORBA::BAD_PARAM&) {
            std::cout << "the empty name is refused" << std::endl;
        }
        return 0;
    } catch (const CORBA::Exception& exception) {
        std::cerr << exception << std::endl;
        return 1;
    }
}
