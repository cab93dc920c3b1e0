#pragma once

#include "agent/records/dscodes.h"
#include "agent/records/dsresrc.h"
#include "stream/ncstring.h"

// The name of a service. Fields on the stream: name, argType, serviceType, value.
class DSName : public DSResource {
public:
    static const NCTypeInfo info;

    // `name` is a repository id or an object name. `value` is an optional extra record, which the name holds.
    DSName(const char* name, int argType, int serviceType, DSResource* value = nullptr);
    explicit DSName(NCistream& in);

    const char* name() const { return name_.str(); }
    int argType() const { return argType_; }
    int serviceType() const { return serviceType_; }
    DSResource* value() const { return value_.get(); }

    void write(NCostream& out) const override;
    const NCTypeInfo& typeInfo() const override { return info; }
    void printOn(NCostream& out) const override;
    uint32_t hash() const override;
    int compare(const NCObject* other) const override;
    uint64_t fingerprint() const override;

private:
    NCString name_;
    int argType_ = 0;
    int serviceType_ = 0;
    NCRef<DSResource> value_;
};
