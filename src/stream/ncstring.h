#pragma once

#include "stream/ncobject.h"
#include "stream/nctext.h"

// A string that can be streamed; the text fields of records are of this class.
// Fields on the stream: length without NUL (unsigned int), the text as a C string.
class NCString : public NCObject, public NCText<NCString> {
public:
    static const NCTypeInfo info;

    NCString() = default;
    NCString(const char* text) : NCText(text) {} // NOLINT: a text converts to a string
    explicit NCString(NCistream& in);
    using NCText::operator=;

    void write(NCostream& out) const override;
    const NCTypeInfo& typeInfo() const override { return info; }
    void printOn(NCostream& out) const override;
    uint32_t hash() const override;
    int compare(const NCObject* other) const override;
};
