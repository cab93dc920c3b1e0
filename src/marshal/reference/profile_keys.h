#pragma once

#include "marshal/reference/vior.h"

// Where the object key stands in the profiles of one tag. Making one enters it, a second one for a tag raises
// CORBA_BAD_PARAM; destroying it takes it out. That of TAG_INTERNET_IOP is always there.
class TRXProfileKeys {
public:
    explicit TRXProfileKeys(CORBA_ULong tag);
    TRXProfileKeys(const TRXProfileKeys&) = delete;
    TRXProfileKeys& operator=(const TRXProfileKeys&) = delete;
    virtual ~TRXProfileKeys();

    // Both raise CORBA_MARSHAL when the profile cannot be read.
    virtual CORBA_OctetSequence key(const IOP::TaggedProfile& profile) const = 0;
    virtual IOP::TaggedProfile rekeyed(const IOP::TaggedProfile& profile,
                                       const CORBA_OctetSequence& key) const = 0;

    static const TRXProfileKeys* find(CORBA_ULong tag); // null when nobody serves the tag

protected:
    struct Builtin {};
    TRXProfileKeys(CORBA_ULong tag, Builtin) : _tag(tag) {} // enters nothing

private:
    CORBA_ULong _tag;
};
