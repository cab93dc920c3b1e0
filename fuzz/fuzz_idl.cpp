// The input is the preprocessed text of a definition. The compiler's model of it is printed in all forms.

#include "fuzzing.h"

#include "generate/includes.h"
#include "generate/stub_source.h"

#include <sstream>

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace harbidl;
    const auto reading = Reading::of({reinterpret_cast<const char*>(data), size}, "fuzz.idl");
    std::ostringstream messages;
    reading->diagnostics.print(messages);
    require(!reading->diagnostics.failed() || !messages.str().empty(),
            "a definition is refused with a message");
    if (reading->diagnostics.failed())
        return 0;
    dumped(reading->model);
    const Unit unit{reading->model, "fuzz.idl", "fuzz_stub.h", includesOf(*reading, "")};
    stubHeader(unit);
    stubSource(unit);
    return 0;
}
