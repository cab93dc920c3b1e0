#include "echo_servant.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <unistd.h>

char* EchoServant::say(const char* text) {
    const std::string said = text;
    if (said == "no")
        throw Calls::Refused("told so", 7);
    return CORBA::string_dup(("echo " + said).c_str());
}

Calls::Records* EchoServant::turn(const Calls::Records& data) {
    Calls::Records_var result = new Calls::Records;
    const CORBA::ULong count = data.length();
    result->length(count);
    for (CORBA::ULong i = 0; i < count; ++i)
        result[i] = data[count - 1 - i];
    return result._retn();
}

Calls::Color EchoServant::next(Calls::Color before) {
    return before == Calls::blue ? Calls::red : static_cast<Calls::Color>(before + 1);
}

CORBA::Long EchoServant::relay(Calls::Echo_ptr other, CORBA::Long depth) {
    return depth <= 1 ? 1 : 1 + other->relay(this, depth - 1);
}

Calls::Echo_ptr EchoServant::another() {
    Calls::Echo_var made = new EchoServant;
    _boa()->obj_is_ready(made);
    kept_.push_back(made);
    return made._retn();
}

void EchoServant::forget(Calls::Echo_ptr target) {
    const auto found = std::find_if(kept_.begin(), kept_.end(),
                                    [target](const Calls::Echo_var& kept) { return kept.in() == target; });
    if (found == kept_.end())
        return;
    _boa()->deactivate_obj(target);
    kept_.erase(found);
}

void EchoServant::fail(const char* how) {
    const std::string kind = how;
    if (kind == "system")
        throw CORBA::NO_PERMISSION(7, CORBA::COMPLETED_MAYBE);
    if (kind == "user")
        throw Calls::Refused("undeclared", 0);
    throw std::runtime_error(kind);
}

void EchoServant::crash() { ::_exit(1); }
