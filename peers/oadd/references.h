#pragma once

#include "marshal/reference/vior.h"
#include "oadd/registration.h"
#include "object/corba_orb.h"
#include "object/vobject.h"

#include <netinet/in.h>

namespace oadd {

// What names an object to this daemon: a text for each key that a server has given its object.
struct ServerObject {
    ObjectName name;
    std::string key;
    CORBA_Object_var reference; // without the daemon's own address; nil when nothing else was in it
};

// The references that the daemon gives out and takes.
class References {
public:
    // `own` is the daemon's object.
    References(CORBA_ORB& orb, CORBA_Object* own);

    const std::string& text() const { return text_; } // of the daemon itself
    const std::string& host() const { return host_; }
    int port() const { return port_; }

    // A reference to the object that leads to this daemon, which then starts or finds its server. Both are
    // the caller's.
    CORBA_Object* toHere(const ObjectName& object) const;
    // One that leads to the server first.
    CORBA_Object* andHere(CORBA_Object* object) const;
    std::string textToHere(const ObjectName& object) const;

    // The same as data, for a key and for any object; the caller's.
    IOP::IOR* iorToHere(const CORBA_OctetSequence& key) const;
    IOP::IOR* iorOf(CORBA_Object* object) const { return new IOP::IOR(read(object)); }

    // What a server says of its object. Raises CORBA_BAD_PARAM for nil and CORBA_INV_OBJREF for what has no
    // address.
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

// The object that a request's key asks for; an empty interface when that is none of ours.
ObjectName nameInKey(const CORBA_OctetSequence& key);

} // namespace oadd
