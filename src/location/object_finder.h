#pragma once

#include "location/location_cache.h"

#include <memory>

namespace harbolance {

// Finds objects by interface and name through the agents. The texts are never null; an empty one means any,
// and the interface "*" means a service, which has a name only. Each question blocks for at most a minute.
class ObjectFinder {
public:
    // A reference to the object; null when no agent knows it.
    std::unique_ptr<IOP::IOR> find(const char* repId, const char* objectName, const char* host);
    // The same for an object that does not answer at `failed`: the cached answer that led there is removed
    // first.
    std::unique_ptr<IOP::IOR> refresh(const IOP::IOR& failed, const char* repId, const char* objectName,
                                      const char* host);
    // Removes the cached address of the object, and tells the agent that it does not answer there.
    void invalidate(const IOP::IOR& failed, const char* repId, const char* objectName, const char* host);

private:
    LocationCache _cache;
};

} // namespace harbolance
