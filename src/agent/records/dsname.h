#pragma once

#include "agent/records/dscodes.h"
#include "agent/records/keyed_record.h"

// The name of a service.
class DSName : public harbolance::KeyedRecord<DSName> {
public:
    static const NCTypeInfo info;

    DSName() = default;
    // `name` is a repository id or an object name. `value` is an optional additional record, which the name
    // holds.
    DSName(const char* name, int argType, int serviceType, DSResource* value = nullptr)
        : name_(name), argType_(argType), serviceType_(serviceType), value_(value) {}
    explicit DSName(NCistream& in) : KeyedRecord(in) { readFields(in); }

    const char* name() const { return name_.str(); }
    int argType() const { return argType_; }
    int serviceType() const { return serviceType_; }
    DSResource* value() const { return value_.get(); }

    static constexpr const char* title = "\nClassName: DSName\n";
    static constexpr auto fields() {
        using namespace harbolance;
        return std::tuple{printed(&DSName::name_, "Name:"), printed(&DSName::argType_, ", Argument Type:"),
                          printedLine(&DSName::serviceType_, ", Service Type:"),
                          printedIfAny(&DSName::value_, "")};
    }
    // The value does not count: names with different values are equal.
    auto key() const { return std::tie(name_, argType_, serviceType_); }

private:
    NCString name_;
    int argType_ = 0;
    int serviceType_ = 0;
    NCRef<DSResource> value_;
};
