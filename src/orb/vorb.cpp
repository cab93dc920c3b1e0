#include "orb/vorb.h"

#include "invoke/giop/giop_connections.h"
#include "marshal/exception/environment.h"
#include "marshal/exception/orb_exceptions.h"
#include "marshal/exception/vexcept.h"
#include "object/object_halves.h"

using namespace harbolance;

TRXORB::TRXORB(const char* name, CORBA_Long key, int& argc, char** argv, const char* prefix)
    : _name(name), _key(key) {
    TRXPropertyList::parse(argc, argv, prefix);
    // The class is named, because a derived class is not constructed yet at this point.
    TRXORB::readProperties();
    // Set last, when the ORB is complete.
    setCurrentORB(this);
}

TRXORB::~TRXORB() {
    if (currentORB() == this)
        setCurrentORB(nullptr);
}

TRXORB* TRXORB::current() { return static_cast<TRXORB*>(currentORB()); }

CORBA_BOA* TRXORB::BOA_init(int& argc, char** argv, const char* boa_id) {
    const char* id = boa_id ? boa_id : wordBehind(argc, argv, "-OAid");
    ObjectAdapters* adapters = ObjectAdapters::installed();
    CORBA_BOA* boa = adapters ? adapters->make(id ? id : "TSingle", argc, argv) : nullptr;
    // Called after the adapter is made, since the hooks may read its options.
    if (boa)
        TRXInit::initializeAll(argc, argv, boa);
    return boa;
}

CORBA_StringSequence* TRXORB::list_initial_services() {
    const auto names = TRXResolver::names();
    // Owned by a _var until it is complete, so that it does not leak when an allocation fails.
    CORBA_StringSequence_var services = new CORBA_StringSequence;
    services->length(static_cast<CORBA_ULong>(names.size()));
    for (CORBA_ULong i = 0; i < services->length(); ++i)
        (*services)[i] = names[i].c_str();
    return services._retn();
}

CORBA_Object* TRXORB::resolve_initial_references(const char* name) {
    // A process without any initial references gives another exception than one that only lacks this name.
    if (!TRXResolver::anyExists())
        throw CORBA_OBJECT_NOT_EXIST();
    TRXResolver* resolver = name ? TRXResolver::find(std::string_view(name)) : nullptr;
    if (!resolver)
        throw CORBA_ORB_InvalidName();
    return resolver->resolve(this);
}

void TRXORB::readProperties() {
    _agentEnabled = flag("ORBagent").value_or(_agentEnabled);
    if (const auto count = number("ORBConnectionMax"))
        TRXORB::connection_max(static_cast<CORBA_ULong>(*count));
    if (const auto seconds = number("ORBConnectionMaxIdle"))
        TRXORB::connection_max_idle(static_cast<CORBA_ULong>(*seconds));
}

void TRXORB::create_environment(CORBA_Environment*& environment) { environment = new CORBA_Environment; }

// --- Client connections ------------------------------------------------------------------------------------

// The connections of the transport that the ORB serves; null when there is none.
TRXGIOPConnFactory* TRXORB::connections() const {
    // The key of an ORB's factory is the tag of the profiles that it serves. `find` does not make the factory
    // of connections, since a program may have no transport.
    const auto tag = static_cast<CORBA_ULong>(_key);
    return TRXConnFactory::find(tag) ? &TRXGIOPConnFactory::of(tag) : nullptr;
}

void TRXORB::connection_max(CORBA_ULong count) {
    if (TRXGIOPConnFactory* all = connections())
        all->max_connections(count);
}

CORBA_ULong TRXORB::connection_max() {
    const TRXGIOPConnFactory* all = connections();
    return all ? all->max_connections() : 0;
}

CORBA_ULong TRXORB::connection_count() {
    const TRXGIOPConnFactory* all = connections();
    return all ? all->connections() : 0;
}

void TRXORB::connection_max_idle(CORBA_ULong seconds) {
    if (TRXGIOPConnFactory* all = connections())
        all->max_idle_time(seconds);
}

// --- Options and the factory -------------------------------------------------------------------------------

void TRXORB::parse(int& argc, char** argv, const char* prefix) {
    TRXPropertyList::parse(argc, argv, prefix);
    readProperties();
}

CORBA_ORB* TRXIIOPORBFactory::create(int& argc, char** argv) {
    // There is one ORB per process; a later command line adds to its properties.
    if (_orb)
        _orb->parse(argc, argv, "-ORB");
    else
        _orb = std::make_unique<TRXORB>(name().c_str(), key(), argc, argv, "-ORB");
    return _orb.get();
}
