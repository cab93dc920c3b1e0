#pragma once

#include "marshal/reference/vior.h"

// The code sets of a server, declared by a component in a profile of its own.

namespace CONV_FRAME {

struct CodeSetComponent {
    CORBA_ULong native_code_set = 0;
    TRXSequence<CORBA_ULong> conversion_code_sets;
};

struct CodeSetComponentInfo {
    CodeSetComponent ForCharData;
    CodeSetComponent ForWcharData;
};

TRXostream& operator<<(TRXostream& stream, const CodeSetComponentInfo& info);
TRXistream& operator>>(TRXistream& stream, CodeSetComponentInfo& info);

// Decodes a component of tag TAG_CODE_SETS. Unreadable data raises CORBA_MARSHAL.
CodeSetComponentInfo decoded(const IOP::TaggedComponent& component);

// The profile for the code sets of this ORB. Built once per process.
const IOP::TaggedProfile& codeSetProfile();

} // namespace CONV_FRAME
