#include "orb/vorb.h"

#include "marshal/exception/vexcept.h"

namespace {

constinit TRXORB* currentORB = nullptr;

} // namespace

CORBA_ORB::~CORBA_ORB() = default;

TRXORB::TRXORB(const char* name, CORBA_Long key, int& argc, char** argv, const char* prefix)
    : _name(name), _key(key) {
    TRXPropertyList::parse(argc, argv, prefix);
    TRXORB::readProperties();
    currentORB = this;
}

TRXORB::~TRXORB() {
    if (currentORB == this)
        currentORB = nullptr;
}

TRXORB* TRXORB::current() { return currentORB; }

CORBA_StringSequence* TRXORB::list_initial_services() {
    const auto names = TRXResolver::names();
    CORBA_StringSequence_var services = new CORBA_StringSequence;
    services->length(static_cast<CORBA_ULong>(names.size()));
    for (CORBA_ULong i = 0; i < services->length(); ++i)
        (*services)[i] = names[i].c_str();
    return services._retn();
}

CORBA_Object* TRXORB::resolve_initial_references(const char* name) {
    if (!TRXResolver::anyExists())
        throw CORBA_OBJECT_NOT_EXIST();
    TRXResolver* resolver = name ? TRXResolver::find(std::string_view(name)) : nullptr;
    if (!resolver)
        throw CORBA_ORB_InvalidName();
    return resolver->resolve(this);
}

void TRXORB::readProperties() { _agentEnabled = flag("ORBagent").value_or(_agentEnabled); }

void TRXORB::parse(int& argc, char** argv, const char* prefix) {
    TRXPropertyList::parse(argc, argv, prefix);
    readProperties();
}

CORBA_ORB* TRXIIOPORBFactory::create(int& argc, char** argv) {
    if (_orb)
        _orb->parse(argc, argv, "-ORB");
    else
        _orb = std::make_unique<TRXORB>(name().c_str(), key(), argc, argv, "-ORB");
    return _orb.get();
}
