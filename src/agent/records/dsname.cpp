#include "agent/records/dsname.h"

#include <iterator>

using namespace harbolance;

const NCTypeInfo DSName::info("DSName", ncCreate<DSName>, {&DSResource::info});

DSName::DSName(const char* name, int argType, int serviceType, DSResource* value)
    : name_(name), argType_(argType), serviceType_(serviceType), value_(value) {}

DSName::DSName(NCistream& in) : DSResource(in), name_(in) {
    in.read(argType_).read(serviceType_);
    value_ = in.readRecord<DSResource>();
}

void DSName::write(NCostream& out) const {
    const int types[] = {argType_, serviceType_};
    out.writeEmbedded(name_).write(types, std::size(types)).writeRecord(value_.get());
}

void DSName::printOn(NCostream& out) const {
    out.write("\nClassName: DSName\n").write("Name:").write(name_.str());
    out.write(", Argument Type:").write(argType_).write(", Service Type:").write(serviceType_).write("\n");
    if (value_)
        value_->printOn(out);
}

uint32_t DSName::hash() const {
    return name_.hash() ^ static_cast<uint32_t>(argType_) ^ static_cast<uint32_t>(serviceType_);
}

int DSName::compare(const NCObject* other) const {
    const auto* that = nc_cast<DSName>(other);
    if (!that)
        return -1;
    if (const int order = name_.compare(&that->name_))
        return order;
    if (const int order = dsDifference(argType_, that->argType_))
        return order;
    return dsDifference(serviceType_, that->serviceType_);
}

uint64_t DSName::fingerprint() const {
    const auto types = static_cast<uint64_t>(static_cast<uint32_t>(argType_)) << 32;
    return mixFingerprint(stringFingerprint(name_.text()), types | static_cast<uint32_t>(serviceType_));
}
