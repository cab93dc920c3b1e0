#pragma once

#include "agent/records/dsresrc.h"
#include "stream/nctext.h"

// A counted string. Streamed as its length including the NUL (unsigned long), and the text with its NUL as a
// block.
class TRXString : public DSResource, public NCText<TRXString> {
public:
    static const NCTypeInfo info;

    TRXString() = default;
    TRXString(const char* text) : NCText(text) {} // NOLINT: text is what it stands for
    explicit TRXString(NCistream& in);
    using NCText::operator=;

    void write(NCostream& out) const override;
    const NCTypeInfo& typeInfo() const override { return info; }
    void printOn(NCostream& out) const override;
    uint32_t hash() const override { return harbolance::stringHash(text_); }
    int compare(const NCObject* other) const override;
    uint64_t fingerprint() const override { return harbolance::stringFingerprint(text_); }
};
