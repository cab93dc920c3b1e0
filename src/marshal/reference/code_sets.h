#pragma once

#include "marshal/reference/vior.h"

// Which character sets a server uses. A component of a reference says it, in a profile of its own.

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

// The code sets inside a component of tag TAG_CODE_SETS. What cannot be read raises CORBA_MARSHAL.
CodeSetComponentInfo decoded(const IOP::TaggedComponent& component);

// The profile that says what this ORB uses. Built once per process.
const IOP::TaggedProfile& codeSetProfile();

} // namespace CONV_FRAME
