#include "base/exit_list.h"
#include "invoke/transport/transport_settings.h"
#include "marshal/exception/vexcept.h"
#include "marshal/marshal_settings.h"
#include "marshal/typecode/typecode_access.h"
#include "net/termination.h"
#include "object/global_table.h"
#include "object/object_halves.h"
#include "orb/orb_settings.h"
#include "orb/vorb.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <unistd.h>

// CORBA_ORB_init and the shut-down: the preparation of the process, the transfer of the options into the
// settings of the layers, and the orderly end.

using namespace harbolance;

namespace {

[[noreturn]] void raiseNoResources() {
    throw CORBA_NO_RESOURCES(static_cast<CORBA_ULong>(errno), COMPLETED_NO);
}

// Runs at exit and on a termination signal. At exit, functions registered later have already run; on a signal
// they run here. Each function is removed from the list before it runs, so none runs twice, including this
// one.
void shutDown() {
    if (ObjectAdapters* adapters = ObjectAdapters::installed()) {
        // First no new requests are accepted, then queued replies are sent, so that clients get the results
        // of what was served.
        adapters->shutDown();
        adapters->flush();
    }
    runExitFunctions();
}

void endOnSignal() {
    shutDown();
    // Static destructors must not run: the signal was handled inside some wait, whose callers still use
    // static objects.
    ::_exit(0);
}

void prepareProcess() {
    std::set_new_handler(raiseNoResources);
    Termination::install(endOnSignal);
    // Registered before any module registers its own function, so that it runs after all of those at exit.
    registerExitFunction(shutDown);
    TypeCodeAccess::startUp();
}

void readFlag(const TRXPropertyList& list, const char* key, bool& flag) {
    // An option that is absent in this call keeps its earlier value.
    flag = list.flag(key).value_or(flag);
}

void readNumberAsFlag(const TRXPropertyList& list, const char* key, bool& flag) {
    if (const auto number = list.number(key))
        flag = *number != 0;
}

void readBufferSize(const TRXPropertyList& list, const char* key, int& size) {
    constexpr long largest = 65535;
    if (const auto number = list.number(key))
        // 0 leaves the size to the system; so does a number out of range.
        size = *number >= 1 && *number <= largest ? static_cast<int>(*number) : 0;
}

// "ORBbackcompat" is read first: it sets the next two options as well, and those override it when given.
void readSettings(const TRXPropertyList& list) {
    if (const auto backCompat = list.flag("ORBbackcompat")) {
        TRXGlobalTable::instance()->backCompat = *backCompat;
        marshalSettings.backDII = *backCompat;
        marshalSettings.nullString = *backCompat;
    }
    readFlag(list, "ORBbackdii", marshalSettings.backDII);
    readFlag(list, "ORBnullstring", marshalSettings.nullString);
    const auto port = list.number("ORBagentport");
    // Only the first port is used, because the session with the agents may already have begun on it.
    if (port && orbSettings.agentPort == 0)
        orbSettings.agentPort = static_cast<uint16_t>(*port);
    readBufferSize(list, "ORBsendbufsize", transportSettings.sendBufSize);
    readBufferSize(list, "ORBrcvbufsize", transportSettings.rcvBufSize);
    readNumberAsFlag(list, "ORBtcpnodelay", transportSettings.tcpNoDelay);
    readFlag(list, "ORBtcindirection", marshalSettings.tcIndirection);
    readNumberAsFlag(list, "ORBcacheDSQuery", orbSettings.cacheDSQuery);
    if (const auto seconds = list.number("ORBstallLimit"))
        transportSettings.stallLimit = static_cast<unsigned>(std::max(*seconds, 0L));
}

} // namespace

CORBA_ORB* CORBA_ORB_init(int& argc, char** argv, const char* orb_id) {
    if (!orb_id)
        // Read without removing it; the ORB removes it with its other options.
        orb_id = wordBehind(argc, argv, "-ORBid");
    if (!orb_id)
        orb_id = "ORB";
    // Once per process and before any ORB is made, because parsing the options may already need it.
    [[maybe_unused]] static const bool prepared = (prepareProcess(), true);
    TRXORBFactory* factory = TRXORBFactory::find(std::string_view(orb_id));
    if (!factory)
        return nullptr;
    // The settings are read before the modules' hooks run, since these may use them.
    CORBA_ORB* orb = factory->create(argc, argv);
    // The ORB of another factory may have no list of properties.
    if (const auto* list = dynamic_cast<const TRXPropertyList*>(orb))
        readSettings(*list);
    TRXInit::initializeAll(argc, argv, orb);
    return orb;
}

CORBA_ORB* CORBA_ORB_init() {
    int argc = 0;
    return CORBA_ORB_init(argc, nullptr, nullptr);
}
