#pragma once

#include "orb/vinit.h"

// The initial reference "LocationService". This process offers no location service, so it is nil; who asks
// for it turns to the agents instead.
class TRXLocationService : public TRXResolver {
public:
    TRXLocationService() : TRXResolver("LocationService") {}
    CORBA_Object* resolve(CORBA_ORB* orb) override;
};
