#include "location/modules.h"

#include "adapter/voa.h"
#include "base/standard_streams.h"
#include "location/location_service.h"
#include "location/location_settings.h"
#include "object/global_table.h"
#include "orb/orb_settings.h"
#include "orb/vorb.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace {

[[noreturn]] void endForBadValue(const char* option, const char* expectation) {
    harbolance::standardError() << "Location Service initialization error:" << std::endl
                                << "\t" << option << " must be followed by " << expectation << std::endl;
    std::exit(1);
}

// `value` is null when the option is the last word.
bool switchValue(const char* option, const char* value) {
    if (!value || (value[0] != '0' && value[0] != '1'))
        endForBadValue(option, "a 0 or 1");
    return value[0] == '1';
}

unsigned long numberValue(const char* option, const char* value) {
    char* end = nullptr;
    const unsigned long number = value ? std::strtoul(value, &end, 10) : 0;
    if (end == value)
        endForBadValue(option, "an unsigned long");
    return number;
}

// While it exists, objects that are made are transient.
class Transient {
public:
    Transient() { TRXGlobalTable::instance()->transientObjects = 1; }
    Transient(const Transient&) = delete;
    Transient& operator=(const Transient&) = delete;
    ~Transient() { TRXGlobalTable::instance()->transientObjects = _before; }

private:
    const CORBA_ULong _before = TRXGlobalTable::instance()->transientObjects;
};

} // namespace

void LocateInitializer::ORB_init(int& argc, char** argv, CORBA_ORB*) {
    int i = 0;
    while (i < argc) {
        if (!take(argv[i], i + 1 < argc ? argv[i + 1] : nullptr)) {
            ++i;
            continue;
        }
        std::copy(argv + i + 2, argv + argc, argv + i);
        argc -= 2;
    }
}

bool LocateInitializer::take(const char* option, const char* value) {
    const std::string_view word = option;
    if (word == "-LOCdebug")
        locationSettings.debug = switchValue(option, value);
    else if (word == "-LOCverify")
        locationSettings.verify = switchValue(option, value);
    else if (word == "-LOCtimeout")
        locationSettings.timeout = numberValue(option, value);
    else
        return false;
    return true;
}

CORBA_Object* TRXLocationService::resolve(CORBA_ORB* orb) {
    if (_object.in())
        return CORBA_Object::_duplicate(_object.in());
    int argc = 0;
    CORBA_BOA* boa = orb->BOA_init(argc, nullptr, nullptr);
    if (!boa)
        return nullptr;
    const Transient transient;
    ObjLocation::Agent_var made = new AgentImpl(nullptr, locationSettings.debug);
    boa->obj_is_ready(made.in(), nullptr);
    _object = made._retn();
    return CORBA_Object::_duplicate(_object.in());
}

std::optional<std::string> TRXAgentOptions::option(const char* key) {
    if (!std::string_view(key).starts_with("OA"))
        CORBA_ORB_init();
    const TRXORB* orb = TRXORB::current();
    return orb ? orb->property(key) : std::nullopt;
}

int TRXAgentOptions::agentPort() { return orbSettings.agentPort; }

void TRXAgentOptions::setAgentPort(int port) { orbSettings.agentPort = static_cast<uint16_t>(port); }
