#include "adapter/adapter_factory.h"

#include "adapter/skel_info.h"
#include "invoke/giop/vgconn.h"
#include "invoke/transport/loop_wait.h"
#include "invoke/transport/transport_settings.h"
#include "object/global_table.h"

using namespace harbolance;

namespace {

struct FactoryTraits : GrowAtNineTenths {
    using Entry = TRXAdapterFactory*;
    static bool isFree(Entry entry) { return !entry; }
    static uint32_t hash(std::string_view name) { return stringHash(name); }
    static uint32_t hash(Entry entry) { return hash(entry->name()); }
    static bool equal(Entry stored, std::string_view name) { return stored->name() == name; }
    static bool equal(Entry stored, Entry entry) { return equal(stored, entry->name()); }
};

HashTable<FactoryTraits>& factories() {
    static auto& table = *new HashTable<FactoryTraits>(16); // factories leave it when the process ends
    return table;
}

} // namespace

TRXAdapterFactory::TRXAdapterFactory(const char* name) : _name(name) {
    if (!factories().insert(this).added)
        throw CORBA_BAD_PARAM();
}

TRXAdapterFactory::~TRXAdapterFactory() { factories().take(std::string_view(_name)); }

TRXAdapterFactory* TRXAdapterFactory::find(std::string_view name) {
    TRXAdapterFactory* const* found = factories().find(name);
    return found ? *found : nullptr;
}

std::vector<TRXAdapterFactory*> TRXAdapterFactory::all() {
    const HashTable<FactoryTraits>& table = factories();
    std::vector<TRXAdapterFactory*> result;
    for (uint32_t i = table.next(0); i < table.capacity(); i = table.next(i + 1))
        result.push_back(table.slot(i));
    return result;
}

// --- All of them as one ------------------------------------------------------------------------------------

namespace {

// When the key or profile cannot be read, or names an object that is not here, the object is not of this
// process: null.
template <class Search>
CORBA_Object* localObject(Search search) {
    try {
        return search();
    } catch (const CORBA_OBJECT_NOT_EXIST&) {
        return nullptr;
    } catch (const CORBA_MARSHAL&) {
        return nullptr;
    }
}

} // namespace

AllAdapters& AllAdapters::instance() {
    static constinit AllAdapters all;
    return all;
}

CORBA_Object* AllAdapters::find(const CORBA_OctetSequence& key) {
    CORBA_Object* found = nullptr;
    TRXAdapterFactory::each([&](TRXAdapterFactory& factory) {
        if (!found && factory.adapter())
            found = localObject([&] { return factory.adapter()->find(key); });
    });
    return found;
}

CORBA_Object* AllAdapters::find(const IOP::IOR& ior, bool checkAddress) {
    CORBA_Object* found = nullptr;
    TRXAdapterFactory::each([&](TRXAdapterFactory& factory) {
        for (const IOP::TaggedProfile& profile : ior.profiles) {
            if (!found)
                found = localObject([&] { return factory.find_local(profile, checkAddress); });
        }
    });
    return found;
}

CORBA_BOA* AllAdapters::boaOf(const SkelHalf* servant) {
    if (CORBA_BOA* current = TRXGlobalTable::instance()->currentBOA) {
        auto* adapter = dynamic_cast<TRXAdapter*>(current);
        return adapter ? adapter->root() : current;
    }
    const auto* skel = static_cast<const TRXSkelInfo*>(servant);
    TRXAdapter* adapter =
        skel && skel->is_in_adapter() ? skel->adapters.at(0) : TRXAdapter::default_adapter();
    return adapter ? adapter->root() : nullptr;
}

CORBA_BOA* AllAdapters::make(const char* id, int& argc, char** argv) {
    TRXAdapterFactory* factory = TRXAdapterFactory::find(id);
    return factory ? factory->create(argc, argv) : nullptr;
}

void AllAdapters::shutDown() {
    TRXAdapterFactory::each([](TRXAdapterFactory& factory) { factory.shutdown(); });
    if (_endSession)
        _endSession();
    _shuttingDown = true;
}

void AllAdapters::flush() {
    LoopWait().until(transportSettings.stallLimit, [] { return TRXGIOPConn::writing_connections() == 0; });
}
