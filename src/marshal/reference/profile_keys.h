#pragma once

#include "marshal/reference/vior.h"

// Finds and replaces the object key in profiles of one tag. The constructor registers the object, the
// destructor removes it; a second one for a tag raises CORBA_BAD_PARAM. TAG_INTERNET_IOP is always
// registered.
class TRXProfileKeys {
public:
    explicit TRXProfileKeys(CORBA_ULong tag);
    TRXProfileKeys(const TRXProfileKeys&) = delete;
    TRXProfileKeys& operator=(const TRXProfileKeys&) = delete;
    virtual ~TRXProfileKeys();

    // Both raise CORBA_MARSHAL when the profile cannot be decoded.
    virtual CORBA_OctetSequence key(const IOP::TaggedProfile& profile) const = 0;
    virtual IOP::TaggedProfile rekeyed(const IOP::TaggedProfile& profile,
                                       const CORBA_OctetSequence& key) const = 0;

    static const TRXProfileKeys* find(CORBA_ULong tag); // null when there is none for the tag

protected:
    struct Builtin {};
    TRXProfileKeys(CORBA_ULong tag, Builtin) : _tag(tag) {} // registers nothing

private:
    CORBA_ULong _tag;
};
