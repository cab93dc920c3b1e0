#pragma once

#include "agent/records/dsprovid.h"
#include "base/hash_table.h"
#include "marshal/reference/vior.h"

#include <memory>
#include <string>

namespace harbolance {

// The text under which agents know an object of that interface, name and host. Null and empty mean any. A
// client asks for this text; a server announces several such texts (announcement.h).
std::string cacheKey(const char* repId, const char* objectName, const char* host);

// Where an object was found.
struct FoundObject {
    std::string key;
    NCRef<DSProvider> provider;
    IOP::IOR reference;
};

// Caches answers of agents. An entry stays until it proves wrong or is replaced by a newer answer.
class LocationCache {
public:
    // Null when the key is not known. Valid until an entry is added or removed.
    const FoundObject* find(const std::string& key) const;
    void put(FoundObject found);
    void remove(const std::string& key);

private:
    KeyedTable<std::unique_ptr<FoundObject>, &FoundObject::key> _entries{16};
};

} // namespace harbolance
