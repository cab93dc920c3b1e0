#pragma once

#include "object/implementation_def.h"

#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace oadd {

// The key of a registration: an interface, and a name, which may be empty.
struct ObjectName {
    std::string repId;
    std::string name;
    bool operator==(const ObjectName&) const = default;
    bool operator<(const ObjectName& other) const {
        return std::tie(repId, name) < std::tie(other.repId, other.name);
    }
};

// For messages: interface and name in quotes, or the interface only.
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

// The error in a registration that can be found without looking at the system; empty when there is none.
// Variables that make a program load other code are refused.
std::string faultOf(const Registration& registration);

const char* nameOfPolicy(CORBA_ULong policy); // "shared", "unshared", "per-method"

// The word in a form that a shell reads as one word.
std::string shellWord(const std::string& word);

// All data that is stored in the file.
struct Registry {
    std::map<ObjectName, std::shared_ptr<const Registration>> entries; // each key is the entry's `object`
    bool destroyOnUnregister = false;
};

} // namespace oadd
