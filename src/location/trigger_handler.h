#pragma once

#include "agent/collections/dsdict.h"
#include "agent/session/dsuser.h"

#include <harbolance/obj_location_stub.h>

class AgentImpl;

// One client's wish to hear of the instances that a TriggerDesc names: towards the session a handler of
// triggers, towards the client the caller of its ObjLocation::TriggerHandler.
//
// Its work with the agent waits for a turn of the event loop: a program that never turns the loop registers
// nothing. It begins with the first turn after it was made and ends in a turn after `remove`, or after its
// client has raised an exception other than CORBA_BAD_OPERATION; then it destroys itself. Client's calls
// block as every call does, and serve other things meanwhile.
class TRXTriggerHandler final : public dpIOHandler, public DSTriggerHandler {
public:
    TRXTriggerHandler(const ObjLocation::TriggerDesc& desc, ObjLocation::TriggerHandler* handler,
                      AgentImpl* agent);
    TRXTriggerHandler(const TRXTriggerHandler&) = delete;
    TRXTriggerHandler& operator=(const TRXTriggerHandler&) = delete;

    // Ends the trigger that was made with such a description and an equivalent handler; once it is ending,
    // nothing more. Raises ObjLocation::Fail no_such_trigger when there is none.
    static void remove(const ObjLocation::TriggerDesc& desc, ObjLocation::TriggerHandler* handler,
                       int serviceType);

    void serviceUp(DSProvider* provider) override;
    void serviceDown(DSProvider* provider) override;
    void timerExpired(long sec, long usec) override;

private:
    using Notification = void (ObjLocation::TriggerHandler::*)(const ObjLocation::Desc&);
    class Call;

    ~TRXTriggerHandler() override;

    void askForTick(long microseconds = 1);
    void end();
    void begin();
    void leave();
    void tell(DSProvider& provider, Notification notification, const char* operation);
    NCRef<DSName> watched() const;

    AgentImpl* _agent;
    ObjLocation::TriggerHandler_var _handler;
    ObjLocation::TriggerDesc _desc;
    std::string _name; // what is watched, as agents name it
    bool _timerActive = false;
    bool _destroying = false;
    bool _known = false; // is among the triggers of the process
    int _calls = 0;      // of this object, that are on the stack
};
