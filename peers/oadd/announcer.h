#pragma once

#include "oadd/references.h"

#include <map>

namespace oadd {

// Announces to the location agent the objects that this daemon can start. Each is announced under the texts
// that clients look for (its interface and its name, on any host and on this one) in two ways:
//
//   - as an object of this daemon, so that clients find it like any other; its reference has the daemon's
//     address and the name that was asked for
//   - as registered with a daemon, with a reference as value, so that lists show that it can be started
//
// Without an agent the session keeps the announcements for the next one.
class Announcer {
public:
    Announcer(const References& references, bool enabled) : references_(references), enabled_(enabled) {}

    void announce(const ObjectName& object);
    void withdraw(const ObjectName& object);

private:
    std::vector<std::string> namesOf(const ObjectName& object) const;
    void change(const std::string& name, int serviceType, const std::string& reference, bool enter) const;

    const References& references_;
    const bool enabled_;
    std::map<std::string, unsigned> shared_; // number of objects that share a name of the first kind
};

} // namespace oadd
