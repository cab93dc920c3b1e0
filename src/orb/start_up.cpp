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

// CORBA_ORB_init and its opposite: what happens once for the process, how the options get into the settings
// of the layers, and how the ORB is shut down.

using namespace harbolance;

namespace {

[[noreturn]] void raiseNoResources() {
    throw CORBA_NO_RESOURCES(static_cast<CORBA_ULong>(errno), COMPLETED_NO);
}

// Runs at exit and on a termination signal. At exit the functions that were registered later have run before;
// on a signal they run here. Each function leaves the list before it runs,
// so none runs twice, this one included.
void shutDown() {
    if (ObjectAdapters* adapters = ObjectAdapters::installed()) {
        // First no new requests, then the replies that wait: clients get what has been served.
        adapters->shutDown();
        adapters->flush();
    }
    runExitFunctions();
}

void endOnSignal() {
    shutDown();
    // Without static destructors: the signal was acted on in the middle of some wait, whose callers still use
    // these objects.
    ::_exit(0);
}

void prepareProcess() {
    std::set_new_handler(raiseNoResources);
    Termination::install(endOnSignal);
    // Before any module registers its own, so that it runs behind all of these at exit.
    registerExitFunction(shutDown);
    TypeCodeAccess::startUp();
}

void readFlag(const TRXPropertyList& list, const char* key, bool& flag) {
    // An option that is absent in this call keeps what an earlier one has set.
    flag = list.flag(key).value_or(flag);
}

void readNumberAsFlag(const TRXPropertyList& list, const char* key, bool& flag) {
    if (const auto number = list.number(key))
        flag = *number != 0;
}

void readBufferSize(const TRXPropertyList& list, const char* key, int& size) {
    constexpr long largest = 65535;
    if (const auto number = list.number(key))
        // 0 leaves the size to the system.
        size = *number >= 1 && *number <= largest ? static_cast<int>(*number) : 0;
}

// "ORBbackcompat" comes first: it sets the next two as well, and their own options override it.
void readSettings(const TRXPropertyList& list) {
    if (const auto backCompat = list.flag("ORBbackcompat")) {
        TRXGlobalTable::instance()->backCompat = *backCompat;
        marshalSettings.backDII = *backCompat;
        marshalSettings.nullString = *backCompat;
    }
    readFlag(list, "ORBbackdii", marshalSettings.backDII);
    readFlag(list, "ORBnullstring", marshalSettings.nullString);
    const auto port = list.number("ORBagentport");
    // The first one counts: the session with the agents may have begun on it.
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
        // Looked at and left: the ORB takes it out with its other words.
        orb_id = wordBehind(argc, argv, "-ORBid");
    if (!orb_id)
        orb_id = "ORB";
    // Once for the process, before any ORB is made: the options may already need what is prepared.
    [[maybe_unused]] static const bool prepared = (prepareProcess(), true);
    TRXORBFactory* factory = TRXORBFactory::find(std::string_view(orb_id));
    if (!factory)
        return nullptr;
    // Settings before modules: a module's hook may rely on them.
    CORBA_ORB* orb = factory->create(argc, argv);
    // An ORB of another factory need not be a list of properties.
    if (const auto* list = dynamic_cast<const TRXPropertyList*>(orb))
        readSettings(*list);
    TRXInit::initializeAll(argc, argv, orb);
    return orb;
}

CORBA_ORB* CORBA_ORB_init() {
    int argc = 0;
    return CORBA_ORB_init(argc, nullptr, nullptr);
}
