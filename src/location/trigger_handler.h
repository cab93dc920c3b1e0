#pragma once

#include "agent/collections/dsdict.h"
#include "agent/session/dsuser.h"

#include <harbolance/obj_location_stub.h>

class AgentImpl;

// One client's trigger for the instances that a TriggerDesc names: a trigger handler of the agent session
// that calls the client's ObjLocation::TriggerHandler.
//
// It registers with the agent in a turn of the event loop, so a program that never runs the loop registers
// nothing. It starts in the first turn after its construction and ends in a turn after `remove`, or after its
// client has raised an exception other than CORBA_BAD_OPERATION; then it destroys itself. Calls to the client
// block like every call and serve other requests meanwhile.
class TRXTriggerHandler final : public dpIOHandler, public DSTriggerHandler {
public:
    TRXTriggerHandler(const ObjLocation::TriggerDesc& desc, ObjLocation::TriggerHandler* handler,
                      AgentImpl* agent);
    TRXTriggerHandler(const TRXTriggerHandler&) = delete;
    TRXTriggerHandler& operator=(const TRXTriggerHandler&) = delete;

    // Ends the trigger with such a description and an equivalent handler; does nothing more when it is
    // already ending. Raises ObjLocation::Fail no_such_trigger when there is none.
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
    bool _known = false; // entered in the process's table
    int _calls = 0;      // of this object, on the stack
};
