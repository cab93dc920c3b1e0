#include "location/location_cache.h"

namespace harbolance {

std::string cacheKey(const char* repId, const char* objectName, const char* host) {
    std::string key;
    if (host && *host)
        key = std::string(host) + "_";
    key += repId;
    if (objectName && *objectName)
        key += std::string("_") + objectName;
    return key;
}

const FoundObject* LocationCache::find(const std::string& key) const {
    const auto* entry = _entries.find(std::string_view(key));
    return entry ? entry->get() : nullptr;
}

void LocationCache::put(FoundObject found) {
    _entries.take(std::string_view(found.key));
    _entries.insert(std::make_unique<FoundObject>(std::move(found)));
}

void LocationCache::remove(const std::string& key) { _entries.take(std::string_view(key)); }

} // namespace harbolance
