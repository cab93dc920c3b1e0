#pragma once

#include "object/implementation_def.h"

#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace oadd {

// What objects are asked for by: an interface, and a name, which may be empty.
struct ObjectName {
    std::string repId;
    std::string name;
    bool operator==(const ObjectName&) const = default;
    bool operator<(const ObjectName& other) const {
        return std::tie(repId, name) < std::tie(other.repId, other.name);
    }
};

// For messages: both in quotes, or the interface alone.
std::string toText(const ObjectName& object);

// An implementation that can be started.
struct Registration {
    ObjectName object;
    std::string data; // reference data: any octets
    std::string path;
    CORBA_ULong policy = SHARED_SERVER;
    std::vector<std::string> arguments;
    std::vector<std::string> environment; // NAME=VALUE
    bool operator==(const Registration&) const = default;
};

Registration registrationOf(const TRXEXT_CreationImplDef& definition);
TRXEXT_CreationImplDef definitionOf(const Registration& registration);

// What is wrong with a registration as it stands, whatever the state of the system; empty when nothing is.
// Variables that make a program load other code than its own are refused.
std::string faultOf(const Registration& registration);

const char* nameOfPolicy(CORBA_ULong policy); // "shared", "unshared", "per-method"

// A word as a shell takes it.
std::string shellWord(const std::string& word);

// Everything that outlives the daemon.
struct Registry {
    std::map<ObjectName, std::shared_ptr<const Registration>> entries; // each under its `object`
    bool destroyOnUnregister = false;
};

} // namespace oadd
