#include "location/trigger_handler.h"

#include "agent/records/dswrap.h"
#include "base/standard_streams.h"
#include "location/location_service.h"
#include "marshal/exception/orb_exceptions.h"

using ObjLocation::Desc;
using ObjLocation::TriggerDesc;
using ObjLocation::TriggerHandler;

namespace {

// Delay before trying again when the session was waiting for another reply.
constexpr long busyMicroseconds = 50'000;

// A map from watched names to the DSSet of their wrapped triggers. Never destroyed, because triggers exist
// until the process ends.
DSDictionary& triggers() {
    static const NCRef<DSDictionary>& all = *new NCRef<DSDictionary>(new DSDictionary(16));
    return *all;
}

bool isText(const CORBA_String_var& text) { return text.in() && *text.in(); }

// The name in the form in which objects are announced: host, interface and object name.
std::string watchedText(const TriggerDesc& desc) {
    std::string text;
    if (isText(desc.host_name))
        text = std::string(desc.host_name.in()) + "_";
    if (desc.repository_id.in())
        text += desc.repository_id.in();
    if (isText(desc.instance_name))
        text = text + "_" + desc.instance_name.in();
    return text;
}

NCRef<DSName> nameOf(const std::string& text, int serviceType) {
    return new DSName(text.c_str(), dsArgType, serviceType);
}

DSSet* triggersOn(const DSName& name) { return static_cast<DSSet*>(triggers().at(&name)); }

} // namespace

// Keeps the object alive while one of its calls is on the stack.
class TRXTriggerHandler::Call {
public:
    explicit Call(TRXTriggerHandler& trigger) : _trigger(trigger) { ++_trigger._calls; }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    ~Call() {
        if (--_trigger._calls == 0 && _trigger._destroying)
            _trigger.askForTick();
    }

private:
    TRXTriggerHandler& _trigger;
};

TRXTriggerHandler::TRXTriggerHandler(const TriggerDesc& desc, TriggerHandler* handler, AgentImpl* agent)
    : _agent(agent), _handler(TriggerHandler::_duplicate(handler)), _desc(desc), _name(watchedText(desc)) {
    askForTick();
}

TRXTriggerHandler::~TRXTriggerHandler() = default;

NCRef<DSName> TRXTriggerHandler::watched() const { return nameOf(_name, DSServiceManual); }

void TRXTriggerHandler::askForTick(long microseconds) {
    if (!std::exchange(_timerActive, true))
        dpDispatcher::instance()->startTimer(0, microseconds, this);
}

void TRXTriggerHandler::end() {
    if (!std::exchange(_destroying, true))
        askForTick();
}

void TRXTriggerHandler::timerExpired(long, long) {
    _timerActive = false;
    if (!_destroying)
        begin();
    else if (_calls == 0)
        leave(); // otherwise in the tick that the last call requests
}

// Entered in the process's table first: the session may call the handler at once, and the client may remove
// its trigger in that call.
void TRXTriggerHandler::begin() {
    const Call call(*this);
    const NCRef<DSName> name = watched();
    if (!std::exchange(_known, true)) {
        NCRef<DSSet> set = triggersOn(*name);
        if (!set) {
            set = new DSSet(16);
            triggers().put(name.get(), set.get());
        }
        set->add(NCRef<DSResource>(new DSWrapper(this)).get());
    }
    DSUser* user = DSUser::instance(true);
    if (user && user->registerTrigger(name.get(), this) == DSUser::busy)
        askForTick(busyMicroseconds);
}

void TRXTriggerHandler::leave() {
    {
        const Call call(*this); // the session may call a handler while the agent is asked
        const NCRef<DSName> name = watched();
        if (DSUser* user = DSUser::instance(true))
            user->unregisterTrigger(name.get(), this);
        const NCRef<DSSet> set = triggersOn(*name);
        if (set) {
            set->remove(NCRef<DSResource>(new DSWrapper(this)).get());
            if (set->isEmpty())
                triggers().removeKey(name.get());
        }
        _timerActive = true; // prevents another tick
    }
    delete this;
}

void TRXTriggerHandler::remove(const TriggerDesc& desc, TriggerHandler* handler, int serviceType) {
    const NCRef<DSSet> set = triggersOn(*nameOf(watchedText(desc), serviceType));
    TRXTriggerHandler* found = nullptr;
    if (set) {
        for (const DSResource* element : *set) {
            auto* trigger = static_cast<const DSWrapper*>(element)->pointer<TRXTriggerHandler>();
            // Of equal triggers prefers one that is not ending yet.
            if ((!found || found->_destroying) && trigger->_handler->_is_equivalent(handler))
                found = trigger;
        }
    }
    if (!found)
        throw ObjLocation::Fail(ObjLocation::no_such_trigger);
    found->end();
}

void TRXTriggerHandler::serviceUp(DSProvider* provider) {
    const Call call(*this);
    const NCRef<DSProvider> held = provider;
    const CORBA_Object_var object(_agent->getObject(provider->name()));
    if (!object.in())
        return; // a provider without an object
    if (_agent->isReachable(*object.in()))
        tell(*provider, &TriggerHandler::impl_is_ready, "impl_is_ready");
    else if (DSUser* user = DSUser::instance(true))
        user->providerDown(provider);
}

void TRXTriggerHandler::serviceDown(DSProvider* provider) {
    const Call call(*this);
    const NCRef<DSProvider> held = provider;
    const CORBA_Object_var object(_agent->getObject(provider->name())); // only for its trace lines
    tell(*provider, &TriggerHandler::impl_is_down, "impl_is_down");
}

// An object that cannot be described is left out, since the client could not call it.
void TRXTriggerHandler::tell(DSProvider& provider, Notification notification, const char* operation) {
    if (_destroying)
        return;
    Desc desc;
    for (CORBA_String_var* text :
         {&desc.profile.host, &desc.repository_id, &desc.instance_name, &desc.agent_hostname})
        *text = "";
    try {
        _agent->fillDesc(provider, desc, nullptr);
        desc.activable = _agent->isActivable(provider);
    } catch (const CORBA_Exception&) {
        return;
    }
    try {
        (_handler.in()->*notification)(desc);
    } catch (const CORBA_Exception& exception) {
        if (_agent->debug())
            harbolance::standardOutput() << operation << " exception: " << exception << std::endl;
        if (dynamic_cast<const CORBA_BAD_OPERATION*>(&exception))
            return;
        if (_agent->debug())
            harbolance::standardOutput() << "destroying this trigger." << std::endl;
        end();
    } catch (...) {
        end(); // a handler in this process may throw anything
    }
}
