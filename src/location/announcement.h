#pragma once

#include "agent/records/dsprovid.h"

#include <string>
#include <vector>

class DSUser;
namespace IOP {
struct IOR;
}

namespace harbolance {

// The names under which an object is registered for one interface: any object of the interface, one on this
// host, and both with the object's name, if it has one.
std::vector<std::string> announcedNames(const char* repId, const char* objectName, const char* host);

// Whether this process uses agents. Without an ORB it does not.
bool agentUsable();

// The data that agents get about one object: its name, the address where it is served, and its reference.
class Announcement {
public:
    // Raises CORBA_INV_OBJREF for a reference without an address.
    Announcement(const char* objectName, const IOP::IOR& reference);

    // Registers the object for one interface, or withdraws it. The caller does not learn the result: without
    // an agent the session keeps the registration for the next one. In a trigger handler that runs inside
    // another request of the session, this is postponed to the event loop.
    void announce(const char* repId) const;
    void withdraw(const char* repId) const;

private:
    template <class Tell>
    void forEachName(DSUser* user, const char* repId, Tell tell) const;

    std::string _objectName;
    NCRef<DSName> _value; // the reference as text
    DSAddr _address;
};

} // namespace harbolance
