#pragma once

#include "oadd/registration_file.h"

namespace oadd {

// The registered implementations, always equal to the file: a change that cannot be written raises
// CORBA_PERSIST_STORE and is not made.
class Registrations {
public:
    using Entry = std::shared_ptr<const Registration>; // not changed when others change the table

    explicit Registrations(RegistrationFile& file) : file_(file) {}

    // Reads the file; empty before. Returns a message when the daemon cannot run.
    std::optional<std::string> load() { return file_.open(registry_); }

    Entry find(const ObjectName& object) const; // null when there is none
    // The registration for a server's object: its own, or that of its interface for objects of any name, or
    // that of the service with this name. The interface may be given by its name, "A::B".
    Entry ofObject(const ObjectName& object) const;
    // The registration for an object that a client wants: the same, but without a name any of the interface.
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
