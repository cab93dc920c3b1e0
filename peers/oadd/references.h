#pragma once

#include "marshal/reference/vior.h"
#include "oadd/registration.h"
#include "object/corba_orb.h"
#include "object/vobject.h"

#include <netinet/in.h>

namespace oadd {

// Identifies a server's object to this daemon by its key, as text.
struct ServerObject {
    ObjectName name;
    std::string key;
    CORBA_Object_var reference; // without the daemon's own profiles; nil when there are no others
};

// Makes and analyses the references that the daemon gives out and receives.
class References {
public:
    // `own` is the daemon's object.
    References(CORBA_ORB& orb, CORBA_Object* own);

    const std::string& text() const { return text_; } // of the daemon itself
    const std::string& host() const { return host_; }
    int port() const { return port_; }

    // A reference to the object that leads to this daemon, which then starts or finds its server. The caller
    // owns it.
    CORBA_Object* toHere(const ObjectName& object) const;
    // A reference that leads to the server first, then to this daemon; the caller owns it.
    CORBA_Object* andHere(CORBA_Object* object) const;
    std::string textToHere(const ObjectName& object) const;

    // The same as an IOR, for a key or for any object; the caller owns it.
    IOP::IOR* iorToHere(const CORBA_OctetSequence& key) const;
    IOP::IOR* iorOf(CORBA_Object* object) const { return new IOP::IOR(read(object)); }

    // Analyses a reference that a server reports. Raises CORBA_BAD_PARAM for nil and CORBA_INV_OBJREF for one
    // without an address.
    ServerObject split(CORBA_Object* object) const;

private:
    IOP::IOR read(CORBA_Object* object) const;
    CORBA_Object* made(const IOP::IOR& ior) const;
    IOP::IOR iorToHere(const ObjectName& object) const;
    bool leadsHere(const IOP::TaggedProfile& profile) const;

    CORBA_ORB& orb_;
    std::string text_;
    IOP::IOR own_;
    std::string host_;
    int port_ = 0;
};

// The object that a request's key names; with an empty interface when the key is not of this ORB.
ObjectName nameInKey(const CORBA_OctetSequence& key);

} // namespace oadd
