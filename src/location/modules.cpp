#include "location/modules.h"

#include "orb/orb_settings.h"
#include "orb/vorb.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string_view>

namespace {

[[noreturn]] void endForBadValue(const char* option, const char* expectation) {
    std::cerr << "Location Service initialization error:" << std::endl
              << "\t" << option << " must be followed by " << expectation << std::endl;
    std::exit(1);
}

// `value` is null behind the last word.
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
        _debug = switchValue(option, value);
    else if (word == "-LOCverify")
        _verify = switchValue(option, value);
    else if (word == "-LOCtimeout")
        _timeout = numberValue(option, value);
    else
        return false;
    return true;
}

CORBA_Object* TRXLocationService::resolve(CORBA_ORB*) { return nullptr; }

std::optional<std::string> TRXAgentOptions::option(const char* key) {
    if (!std::string_view(key).starts_with("OA"))
        CORBA_ORB_init();
    const TRXORB* orb = TRXORB::current();
    return orb ? orb->property(key) : std::nullopt;
}

int TRXAgentOptions::agentPort() { return orbSettings.agentPort; }

void TRXAgentOptions::setAgentPort(int port) { orbSettings.agentPort = static_cast<uint16_t>(port); }
