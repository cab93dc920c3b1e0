#pragma once

class DSProvider;

// Told by the session when a provider of a watched name comes or goes. Called from the event loop or from
// inside a request; may register and unregister triggers. The provider is the session's: hold it to keep it.
class DSTriggerHandler {
public:
    virtual void serviceUp(DSProvider* provider) = 0;
    virtual void serviceDown(DSProvider*) {}

protected:
    ~DSTriggerHandler() = default; // nobody destroys a handler through the session
};
