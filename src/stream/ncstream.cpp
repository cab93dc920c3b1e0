#include "stream/ncstream.h"

#include "base/printable.h"
#include "base/standard_streams.h"
#include "stream/complaints.h"
#include "stream/nctables.h"

#include <algorithm>
#include <utility>

using namespace harbolance;

// The object graph in both forms: tags, class names, ids. The scalars of the text form are in
// ncstream_text.cpp.

NCostream::NCostream(std::ostream& out)
    : out_(&out), onStandardOutput_(&out == &standardOutput()), table_(std::make_unique<NCOutTable>()) {}
NCostream::NCostream() : out_(nullptr), onStandardOutput_(false), table_(std::make_unique<NCOutTable>()) {}
NCostream::~NCostream() = default;

const NCTypeInfo& NCostream::typeInfo() const {
    static const NCStreamKind kind("NCostream");
    return kind;
}

bool NCostream::isA(const NCTypeInfo& type) const { return typeInfo() == type; }

void NCostream::writeFields(const NCTransObject* object) {
    // On the standard output objects are printed for people; any other stream gets the form that a reader can
    // rebuild.
    if (onStandardOutput_)
        object->printOn(*this);
    else
        object->write(*this);
}

void NCostream::resetTypes() { table_->forgetTypes(); }

void NCostream::resetObjects() { table_->forgetObjects(); }

NCostream& NCostream::writeText(const std::string& text) {
    return write(static_cast<unsigned int>(text.size())).writeCString(text.c_str());
}

// A null is written like a new object of the class "::", a name that no class has.
void NCostream::writeNull() { write(':').writeCString("::"); }

void NCostream::writeTag(char tag, int id) { write(tag).write(id); }

NCostream& NCostream::write(const NCTransObject* object) { return writeObject(object); }

NCostream& NCostream::writeObject(const NCTransObject* object) {
    // The caller may have pointers to any object written before (see the invariant of NCOutTable).
    table_->enterAll();
    return writeTagged(object, false);
}

NCostream& NCostream::writeTagged(const NCTransObject* object, bool soleHolder) {
    if (!object) {
        writeNull();
        return *this;
    }
    // The id is assigned before the fields are written, because the reader's constructor also registers the
    // object before it reads any field.
    const NCOutTable::Assigned assigned = table_->assign(object, soleHolder);
    ++table_->depth;
    if (assigned.isNew) {
        writeType(object->typeInfo());
        writeFields(object);
    } else {
        writeTag('@', assigned.id);
    }
    // Ids are valid within one outermost object only: later the same pointer may belong to another object.
    if (--table_->depth == 0)
        table_->forgetObjects();
    return *this;
}

void NCostream::writeType(const NCTypeInfo& type) {
    // By the address of the name, which also decides whether two types are equal.
    const NCOutTable::Assigned assigned = table_->assignType(type.name());
    if (assigned.isNew)
        write(':').writeCString(type.name());
    else
        writeTag('#', assigned.id);
}

NCostream& NCostream::writeEmbedded(const NCTransObject& member) {
    // Written without look-up and tag: the reader's constructor of the member registers it in the same order.
    table_->assignMember(&member);
    writeFields(&member);
    return *this;
}

NCistream::NCistream(std::istream& in) : in_(&in), table_(std::make_unique<NCInTable>()) {}
NCistream::NCistream() : in_(nullptr), table_(std::make_unique<NCInTable>()) {}
NCistream::~NCistream() = default;

const NCTypeInfo& NCistream::typeInfo() const {
    static const NCStreamKind kind("NCistream");
    return kind;
}

bool NCistream::isA(const NCTypeInfo& type) const { return typeInfo() == type; }

void NCistream::resetTypes() { table_->types.clear(); }

void NCistream::resetObjects() { table_->forgetObjects(); }

NCTransObject* NCistream::createObject(const NCTypeInfo& type) { return type.creator()(*this); }

int NCistream::registerObject(NCTransObject* object) {
    if (table_->objects.empty())
        table_->known.clear(); // objects of the previous message
    if (!table_->known.insert(object).added)
        return -1;
    // Limits the table, which is several times larger than the octets that cause an entry.
    if (table_->objects.size() >= NCInTable::mostObjects)
        setFailed();
    table_->objects.emplace_back().object = object;
    return static_cast<int>(table_->objects.size()) - 1;
}

void NCistream::registerCounted(NCResource* object) {
    // Called right after `registerObject` of the same object, so the last entry belongs to it.
    if (!table_->objects.empty())
        table_->objects.back().counted = object;
}

void NCistream::stopEarly() {
    if (table_->depth > 1)
        setFailed();
}

NCTransObject* NCistream::readObject() { return readRestricted(nullptr); }

// Apart from the readers, which run for each object and would otherwise make room for these texts.
namespace {

[[gnu::cold]] void complainOfTag() {
    complain(standardError(),
             std::string("NCistream::readObject: Error reading Object ") + ncReadErrorAdvice);
}

[[gnu::cold]] void complainOfTypeId(int id) {
    complain(standardError(), "NCistream::readObject. Internal Error "
                              "reading class '" +
                                  std::to_string(id) + "'\n");
}

[[gnu::cold]] void complainOfClass(const std::string& name) {
    complain(standardError(), "NCistream::readObject: Received Object"
                              " of class '" +
                                  printable(name, '?') + "', but this class is not linked in\n");
}

} // namespace

NCTransObject* NCistream::refuse() {
    setFailed();
    return nullptr;
}

NCTransObject* NCistream::readRestricted(const NCTypeInfo* required) {
    // Tested for each object: after a failure constructors go on reading, but must make no more objects.
    if (failed_)
        return nullptr;
    char tag = '\0';
    read(tag);
    if (failed_)
        return nullptr;
    switch (tag) {
    case '#': {
        const NCTypeInfo* type = readKnownType();
        return type ? readNew(type, required) : refuse();
    }
    case ':': {
        bool isNull = false;
        const NCTypeInfo* type = readNamedType(isNull);
        // A null is no failure and gets no id.
        if (isNull)
            return nullptr;
        return type ? readNew(type, required) : refuse();
    }
    case '@': return readReference(required);
    default:
        // The reader has lost its position in the message; the next object cannot be found.
        complainOfTag();
        return refuse();
    }
}

const NCTypeInfo* NCistream::readKnownType() {
    int id = -1;
    read(id);
    const NCTypeInfo* type = failed_ ? nullptr : table_->type(id);
    if (!type && !failed_)
        complainOfTypeId(id);
    return type;
}

const NCTypeInfo* NCistream::readNamedType(bool& isNull) {
    constexpr size_t longestName = 255;
    std::string name;
    getText(name);
    if (failed_)
        return nullptr;
    isNull = name == "::";
    if (isNull)
        return nullptr;
    // A longer name belongs to no known class. All of it has been read, but only a part is reported.
    const NCTypeInfo* type = name.size() <= longestName ? NCTypeInfo::find(name.c_str()) : nullptr;
    if (type && table_->types.size() >= NCInTable::mostTypes)
        return nullptr;
    if (type) {
        table_->types.push_back(type);
    } else {
        complainOfClass(name.substr(0, longestName));
    }
    return type;
}

NCTransObject* NCistream::readReference(const NCTypeInfo* required) {
    int id = -1;
    read(id);
    const NCInTable::Seen* seen = failed_ ? nullptr : table_->object(id);
    if (!seen)
        return refuse();
    // Completeness is tested first, because an object under construction does not have its final type yet.
    if (required && (!seen->complete || !seen->object->typeInfo().isSameOrDerived(*required)))
        return refuse();
    // Written as a difference to avoid an overflow. An incomplete object has weight 1.
    if (seen->weight - 1 > NCInTable::repeatBudget - table_->repeated)
        return refuse();
    table_->repeated += seen->weight - 1;
    table_->weight += seen->weight;
    return seen->object;
}

NCTransObject* NCistream::readNew(const NCTypeInfo* type, const NCTypeInfo* required) {
    // Refused before it is made: an abstract class, a class that the field cannot hold, and nesting so deep
    // that it would exhaust the stack.
    if (!type->creator() || (required && !type->isSameOrDerived(*required)) || table_->depth >= maxDepth)
        return refuse();

    // While the object is read, `weight` sums up the weights of the objects that it refers to.
    const size_t id = table_->objects.size();
    const size_t before = remaining();
    const uint32_t outerWeight = std::exchange(table_->weight, 1);
    ++table_->depth;
    NCTransObject* object = createObject(*type);
    --table_->depth;
    // For a standard stream the number of octets left is unknown; the difference is then 0.
    const size_t bulk = 1 + (before - remaining()) / NCInTable::octetsPerWeight;
    table_->weight = std::max(table_->weight, static_cast<uint32_t>(bulk));

    // A constructor that fails to register leaves no entry with this id.
    NCResource* counted = nullptr;
    if (id < table_->objects.size()) {
        table_->objects[id].complete = true;
        table_->objects[id].weight = table_->weight;
        counted = table_->objects[id].counted;
    }
    if (counted)
        table_->completed.push_back(counted);
    table_->weight += outerWeight;
    if (table_->depth > 0)
        return object;

    // End of the message. Destroys the objects that no object of it holds; after a failure that is all of
    // them.
    table_->destroyOrphans(counted);
    table_->forgetObjects();
    if (failed_) {
        delete object;
        return nullptr;
    }
    return object;
}
