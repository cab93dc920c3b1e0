#include "location/modules.h"
#include "adapter/adapter_factory.h"
#include "adapter/skel_info.h"
#include "adapter/vgsrv.h"
#include "adapter/vsoa.h"
#include "agent/session/dsuser.h"
#include "invoke/stub/vstub.h"
#include "invoke/transport/viconn.h"
#include "location/object_location.h"
#include "orb/vorb.h"

// The library's modules, in the order in which they register. The order is visible: initialisers of equal
// priority run in it, and the slots in which registries list their members depend on it. So all of them are
// defined in this one file, above all folders. They are destroyed in reverse order; the factory destroys its
// ORB.

namespace {

std::unique_ptr<harbolance::StubHalf> makeStub(CORBA_Object* owner) {
    return std::make_unique<TRXStubInfo>(owner);
}
std::unique_ptr<harbolance::SkelHalf> makeSkel(CORBA_Object* owner) {
    return std::make_unique<TRXSkelInfo>(owner);
}
harbolance::ProfileORB* orbOfTag(CORBA_ULong tag) {
    TRXORB* orb = TRXORB::current();
    return orb && static_cast<CORBA_ULong>(orb->key()) == tag ? orb : nullptr;
}

// What lower layers ask of higher ones.
struct Hooks {
    Hooks() {
        harbolance::ObjectHalves::install(makeStub);
        harbolance::ObjectHalves::install(makeSkel);
        harbolance::ProfileORB::install(orbOfTag);
        harbolance::ObjectAdapters::install(&harbolance::AllAdapters::instance());
        harbolance::LocalCalls::install(&localCalls);
        harbolance::AllAdapters::instance().endSessionBy(DSUser::endAtExit);
        harbolance::ObjectAnnouncer::install(harbolance::makeAnnouncer);
        harbolance::ActivationDaemon::install(&activationDaemon);
        TRXChainBindInterceptor::install(TRXLocation::ofChain);
    }
    harbolance::InProcessServer localCalls;
    harbolance::LocalActivationDaemon activationDaemon;
};

Hooks hooks;
TRXTCPConnFactory tcpTransport;
TRXIIOPAdapterFactory adapterFactory;
BindInitializer bindChain;
TRXIIOPORBFactory orbFactory;
TRXLocationService locationService;
LocateInitializer locateInitializer;
TRXAgentOptions agentOptions;

} // namespace
