#pragma once

#include "oadd/registration_file.h"

namespace oadd {

// What is registered, always as the file has it: a change that cannot be written raises CORBA_PERSIST_STORE
// and does not happen.
class Registrations {
public:
    using Entry = std::shared_ptr<const Registration>; // stays as it is while others change the table

    explicit Registrations(RegistrationFile& file) : file_(file) {}

    // At first there are none. A message for what keeps the daemon from running.
    std::optional<std::string> load() { return file_.open(registry_); }

    Entry find(const ObjectName& object) const; // null when there is none
    // Of an object that a server has: its own registration, or that of its interface for objects of any name,
    // or that of the service of this name. An interface may be given by its name, "A::B".
    Entry ofObject(const ObjectName& object) const;
    // Of an object that a client wants: the same, and without a name any of the interface.
    Entry ofRequest(const ObjectName& object) const;
    std::vector<Entry> ofInterface(const std::string& repId) const;
    std::vector<Entry> all() const;

    void add(Registration registration);
    void remove(const std::vector<Entry>& entries);
    void replace(const ObjectName& old, Registration registration);
    bool destroyOnUnregister() const { return registry_.destroyOnUnregister; }
    void destroyOnUnregister(bool destroy);

private:
    void commit(Registry changed);

    RegistrationFile& file_;
    Registry registry_;
};

} // namespace oadd
