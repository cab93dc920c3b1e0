#include "base/standard_streams.h"
#include "location/location_service.h"
#include "location/location_settings.h"
#include "marshal/exception/orb_exceptions.h"
#include "marshal/reference/vutil.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>

// How the location service makes objects and descriptions from providers, and tests objects on request.

namespace {

const char* textOr(const char* text, const char* otherwise) { return text ? text : otherwise; }

// The stringified reference that travels with a name; null when there is none.
const char* referenceText(const DSName& name) {
    const auto* value = nc_cast<DSName>(name.value());
    return value ? value->name() : nullptr;
}

bool isServiceName(const CORBA_Object& object) {
    const char* name = object._object_name();
    return name && std::strcmp(name, "*") == 0;
}

// Sets other options on a stub during a test, so that it makes no second connection, which might lead
// elsewhere.
class TestOptions {
public:
    explicit TestOptions(CORBA_Object& object) : _object(object), _before(object._bind_options()) {
        if (_before)
            apply(_before->sendTimeout, _before->receiveTimeout, _before->connectTimeout);
    }
    TestOptions(CORBA_Object& object, unsigned long seconds)
        : _object(object), _before(object._bind_options()) {
        const auto limit = static_cast<CORBA_ULong>(std::min<unsigned long>(seconds, UINT32_MAX));
        apply(limit, limit, limit);
    }
    TestOptions(const TestOptions&) = delete;
    TestOptions& operator=(const TestOptions&) = delete;
    ~TestOptions() {
        if (_before)
            _object._bind_options(*_before);
    }

private:
    void apply(CORBA_ULong send, CORBA_ULong receive, CORBA_ULong connect) {
        _object._bind_options({false, false, 5, send, receive, connect});
    }

    CORBA_Object& _object;
    std::unique_ptr<const CORBA_BindOptions> _before; // null for a servant of this process
};

// Switches look-ups through the agents off meanwhile, which would find another object of that name.
class AgentsOff {
public:
    explicit AgentsOff(TRXORB& orb) : _orb(orb), _before(orb.agentEnabled()) { orb.agentEnabled(false); }
    AgentsOff(const AgentsOff&) = delete;
    AgentsOff& operator=(const AgentsOff&) = delete;
    ~AgentsOff() { _orb.agentEnabled(_before); }

private:
    TRXORB& _orb;
    const bool _before;
};

// Fills in the names from the object key, if the key is of this ORB.
void fillNames(const CORBA_OctetSequence& key, ObjLocation::Desc& desc, const char* rep) {
    try {
        const TRXRef<TRXObjectId> id(TRXUtil::id_from_key(key));
        if (!id)
            return;
        if (id->type() == TRXObjectId::ID_PERSISTENT) {
            const auto& persistent = static_cast<const TRXPersistentId&>(*id);
            desc.repository_id = textOr(rep, textOr(persistent.rep_id(), ""));
            desc.instance_name = textOr(persistent.object_name(), "");
        } else if (id->type() == TRXObjectId::ID_SERVICE) {
            desc.repository_id = "Activation Service";
            desc.instance_name = textOr(static_cast<const TRXServiceId&>(*id).service_name(), "");
        }
    } catch (const CORBA_Exception&) {
        // a truncated key has no names
    }
}

} // namespace

CORBA_Object* AgentImpl::getObject(const DSName& name) {
    const char* text = referenceText(name);
    if (!text) {
        if (_debug)
            harbolance::standardOutput() << "UserObject for [" << name << "] is null" << std::endl;
        return nullptr;
    }
    if (_debug)
        harbolance::standardOutput() << "Obtaining object from userObject [" << text << "]" << std::endl;
    try {
        CORBA_Object* object = orb().string_to_object(text);
        if (_debug && !object)
            harbolance::standardOutput() << "unstringified object is NULL" << std::endl;
        else if (_debug)
            harbolance::standardOutput() << "Object=[" << textOr(object->_interface_name(), "nil") << ","
                                         << textOr(object->_object_name(), "nil") << "]" << std::endl;
        return object;
    } catch (const CORBA_INV_OBJREF&) {
        if (_debug)
            harbolance::standardOutput() << "Reference is invalid.  May be due to Harbolance 2.0" << std::endl
                                         << "registrations.  This registration will be ignored" << std::endl;
        return nullptr;
    }
}

CORBA_Object* AgentImpl::providerObject(DSProvider& provider, bool activable) {
    CORBA_Object_var object(getObject(provider.name()));
    const bool verified = locationSettings.verify && !activable && !isActivable(provider) &&
                          !(object.in() && isServiceName(*object.in()));
    if (_debug)
        harbolance::standardOutput() << (verified ? "Verifying" : "Not verifying") << " remote object"
                                     << std::endl;
    if (!verified || !object.in() || !isDead(*object.in()))
        return object._retn();
    if (DSUser* user = DSUser::instance(true))
        user->providerDown(&provider);
    return nullptr;
}

// When a server has once let a test time out, all its objects count as dead, so that they cost one wait.
bool AgentImpl::isDead(CORBA_Object& object) {
    IIOP::ProfileBody body;
    try {
        TRXUtil::iiop_body(harbolance::ObjectOperations::installed().reference(&object), body);
    } catch (const CORBA_Exception&) {
        return true; // it has no address to call
    }
    const std::string server = textOr(body.host.in(), "") + (":" + std::to_string(body.port));
    if (_silentServers.contains(server))
        return true;
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    const bool dead = !test(object);
    const std::chrono::seconds limit(locationSettings.timeout);
    if (dead && limit.count() > 0 && Clock::now() - start >= limit)
        _silentServers.insert(server);
    return dead;
}

// Whether the object exists, according to its server.
bool AgentImpl::test(CORBA_Object& object) {
    const TestOptions options(object, locationSettings.timeout);
    const AgentsOff agentsOff(orb());
    try {
        return object._non_existent() == 0;
    } catch (const CORBA_Exception&) {
        return false;
    }
}

bool AgentImpl::isReachable(CORBA_Object& object) {
    if (object._is_local())
        return true;
    const TestOptions options(object); // agents stay on, because this may take long
    try {
        const CORBA_MarshalOutBuffer_var request(object._stub_request("_non_existent", 1));
        const CORBA_MarshalInBuffer_var reply(object._stub_invoke(request.in()));
        return true;
    } catch (const CORBA_NO_PERMISSION&) {
        return true;
    } catch (const CORBA_Exception&) {
        return false;
    }
}

void AgentImpl::fillDesc(const DSProvider& provider, ObjLocation::Desc& desc, const char* rep) {
    const char* text = referenceText(provider.name());
    if (!text) {
        if (_debug)
            harbolance::standardOutput() << "UserObject for [" << provider << "] is null" << std::endl;
        return;
    }
    const CORBA_Object_var object(orb().string_to_object(text));
    describe(provider, object.in(), desc, rep);
}

void AgentImpl::describe(const DSProvider& provider, CORBA_Object* object, ObjLocation::Desc& desc,
                         const char* rep) {
    desc.ref = CORBA_Object::_duplicate(object);
    if (!object)
        throw CORBA_INV_OBJREF();
    TRXUtil::iiop_body(harbolance::ObjectOperations::installed().reference(object), desc.profile);
    desc.repository_id = "";
    desc.instance_name = "";
    fillNames(desc.profile.object_key, desc, rep);
    desc.agent_hostname = provider.agentAddr().dottedAddr();
}

// Returns the index after the last description. A provider that cannot be described is left out of the
// sequence.
CORBA_ULong AgentImpl::_convert(ObjLocation::DescSeq& seq, CORBA_ULong index, const DSSet* set,
                                bool activable, const char* rep) {
    if (!set)
        return index;
    for (DSResource* element : *set) {
        auto* provider = nc_cast<DSProvider>(element);
        if (!provider)
            continue;
        try {
            const CORBA_Object_var object(providerObject(*provider, activable));
            if (!object.in())
                continue;
            ObjLocation::Desc desc;
            describe(*provider, object.in(), desc, rep);
            desc.activable = activable;
            seq[index] = std::move(desc);
            ++index;
        } catch (const CORBA_Exception&) {
            if (_debug)
                harbolance::standardOutput()
                    << "AgentImpl::_convert failed for provider [" << *provider << "]" << std::endl;
        }
    }
    return index;
}
