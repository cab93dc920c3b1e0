#include "peerscan/location_service.h"

#include "marshal/exception/vexcept.h"
#include "orb/vorb.h"

#include <iostream>

bool withLocationService(const std::function<bool(CORBA_Object* service)>& part) {
    try {
        return part(CORBA_ORB_init()->resolve_initial_references("LocationService"));
    } catch (const CORBA_Exception& exception) {
        std::cerr << "CORBA Exception during execution of peerscan: " << exception << std::endl;
    }
    return false;
}
