#pragma once

#include "agent/records/dsprovid.h"

#include <string>
#include <vector>

class DSUser;
namespace IOP {
struct IOR;
}

namespace harbolance {

// The names under which an object is registered for one interface: any object of it, one on this host, and
// the same with the object's name, if it has one.
std::vector<std::string> announcedNames(const char* repId, const char* objectName, const char* host);

// Whether this process talks to agents. Without an ORB it does not.
bool agentUsable();

// What agents are told of one object: its name, the address at which it is served, and its reference.
class Announcement {
public:
    // A reference without an address raises CORBA_INV_OBJREF.
    Announcement(const char* objectName, const IOP::IOR& reference);

    // Registers the object as one of an interface, and takes that back. Whether an agent takes it is not told
    // to the caller: without an agent the session keeps it for the next one. In a handler of triggers that
    // runs inside another request of the session this is done later, from the event loop.
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
