#include "marshal/reference/profile_keys.h"

#include "base/hash_table.h"

using namespace harbolance;

namespace {

class IIOPProfileKeys final : public TRXProfileKeys {
public:
    IIOPProfileKeys() : TRXProfileKeys(IOP::TAG_INTERNET_IOP, Builtin()) {}

    CORBA_OctetSequence key(const IOP::TaggedProfile& profile) const override {
        return std::move(IIOP::decoded(profile.profile_data).object_key);
    }

    IOP::TaggedProfile rekeyed(const IOP::TaggedProfile& profile,
                               const CORBA_OctetSequence& key) const override {
        IIOP::ProfileBody body = IIOP::decoded(profile.profile_data);
        body.object_key = key;
        IOP::TaggedProfile result;
        result.tag = profile.tag;
        result.profile_data = IIOP::encoded(body);
        return result;
    }
};

struct TagTraits : GrowAtNineTenths {
    struct Entry {
        CORBA_ULong tag = 0;
        const TRXProfileKeys* keys = nullptr;
    };
    static bool isFree(const Entry& entry) { return !entry.keys; }
    static uint32_t hash(const Entry& entry) { return entry.tag; }
    static uint32_t hash(CORBA_ULong tag) { return tag; }
    static bool equal(const Entry& stored, const Entry& entry) { return stored.tag == entry.tag; }
    static bool equal(const Entry& stored, CORBA_ULong tag) { return stored.tag == tag; }
};

// Never destroyed, because static objects remove themselves during static destruction.
HashTable<TagTraits>& table() {
    static auto* const byTag = [] {
        // Entered below: its constructor does not register it, since that would call this function again.
        static const auto* const builtin = new IIOPProfileKeys;
        auto* made = new HashTable<TagTraits>(16);
        made->insert({IOP::TAG_INTERNET_IOP, builtin});
        return made;
    }();
    return *byTag;
}

} // namespace

TRXProfileKeys::TRXProfileKeys(CORBA_ULong tag) : _tag(tag) {
    if (!table().insert({tag, this}).added)
        throw CORBA_BAD_PARAM();
}

TRXProfileKeys::~TRXProfileKeys() { table().take(_tag); }

const TRXProfileKeys* TRXProfileKeys::find(CORBA_ULong tag) {
    const auto* found = table().find(tag);
    return found ? found->keys : nullptr;
}
