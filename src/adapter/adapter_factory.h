#pragma once

#include "adapter/voa.h"

#include <string>

// Makes the adapter with one id, in the first BOA_init that asks for it.
class TRXAdapterFactory {
public:
    // Raises CORBA_BAD_PARAM for a name in use.
    explicit TRXAdapterFactory(const char* name);
    TRXAdapterFactory(const TRXAdapterFactory&) = delete;
    TRXAdapterFactory& operator=(const TRXAdapterFactory&) = delete;
    virtual ~TRXAdapterFactory();

    // The adapter, which the factory owns. Removes the -OA words from `argv`.
    virtual CORBA_BOA* create(int& argc, char** argv) = 0;
    virtual void shutdown() = 0;
    // The object of a profile, or null; the caller owns the reference. With `checkAddress` the profile's
    // address must be this adapter's.
    virtual CORBA_Object* find_local(const IOP::TaggedProfile& profile, CORBA_Boolean checkAddress) = 0;
    virtual TRXAdapter* adapter() = 0; // null before the first `create`

    const std::string& name() const { return _name; }

    static TRXAdapterFactory* find(std::string_view name);
    // Calls `visit` for each factory, in slot order of the names.
    template <class Visit>
    static void each(Visit visit) {
        for (TRXAdapterFactory* factory : all())
            visit(*factory);
    }

private:
    static std::vector<TRXAdapterFactory*> all();

    std::string _name;
};

namespace harbolance {

// All adapters of the process as one (object/object_halves.h).
class AllAdapters final : public ObjectAdapters {
public:
    CORBA_Object* find(const CORBA_OctetSequence& key) override;
    CORBA_Object* find(const IOP::IOR& ior, bool checkAddress) override;
    CORBA_BOA* boaOf(const SkelHalf* servant) override;
    CORBA_BOA* make(const char* id, int& argc, char** argv) override;
    void shutDown() override;
    void flush() override;

    static AllAdapters& instance();
    // Sets the function that ends the session with the location agent during the shut-down.
    void endSessionBy(void (*end)()) { _endSession = end; }
    // Whether serving is to end; then `run` returns.
    bool shuttingDown() const { return _shuttingDown; }

private:
    void (*_endSession)() = nullptr;
    bool _shuttingDown = false;
};

} // namespace harbolance
