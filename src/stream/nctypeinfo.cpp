#include "stream/nctypeinfo.h"

#include "base/hash_table.h"
#include "base/standard_streams.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

using namespace harbolance;

namespace {

struct RegisteredClass {
    std::string name; // the registry's own copy
    const NCTypeInfo* type = nullptr;
    explicit operator bool() const { return type != nullptr; }
};
using ClassTable = KeyedTable<RegisteredClass, &RegisteredClass::name, GrowWhenFull>;

// Never destroyed, because exit handlers may still look up classes.
ClassTable& registry() {
    static auto* table = new ClassTable(16);
    return *table;
}

bool tracing() {
    // Read once, since this runs for every class before `main`.
    static const bool on = std::getenv("DEBUG_STATIC") != nullptr;
    return on;
}

// The types constructed so far; filled only while tracing. A base that is not in it has no name yet.
std::vector<const NCTypeInfo*>& traced() {
    static auto* types = new std::vector<const NCTypeInfo*>;
    return *types;
}

bool isTraced(const NCTypeInfo* type) {
    return std::find(traced().begin(), traced().end(), type) != traced().end();
}

} // namespace

NCTypeInfo::NCTypeInfo(const char* name, Create create, std::initializer_list<const NCTypeInfo*> bases)
    : name_(name), create_(create), bases_(bases) {
    if (tracing())
        trace();
    // `insert` keeps the existing entry: of two classes with one name the first stays.
    if (name_)
        registry().insert({name_, this});
}

NCTypeInfo::~NCTypeInfo() = default;

const NCTypeInfo* NCTypeInfo::find(const char* name) {
    const auto* entry = registry().find(name);
    return entry ? entry->type : nullptr;
}

bool NCTypeInfo::hasBase(const NCTypeInfo& base) const {
    return std::any_of(bases_.begin(), bases_.end(),
                       [&](const NCTypeInfo* direct) { return direct->isSameOrDerived(base); });
}

void NCTypeInfo::trace() const {
    traced().push_back(this);
    if (name_)
        standardOutput() << "Static initializating class: " << name_ << "\n";
    else
        standardOutput() << "Static initializing class: (null)\n";
    if (bases_.empty()) {
        standardOutput() << "The class is directly derived from "
                         << "NCTransObject\n\n";
        return;
    }
    standardOutput() << "The class has the following base:\n";
    for (const NCTypeInfo* base : bases_) {
        if (isTraced(base) && base->name_)
            standardOutput() << "'" << base->name_ << "'\n";
        else
            standardOutput() << "(null)\n";
    }
    standardOutput() << "\n";
}
