#include "agent/records/dsresrc.h"

#include "base/standard_streams.h"

const NCTypeInfo DSResource::info("DSResource", nullptr, {&NCObject::info});

DSResource::~DSResource() {
    // The release that destroys the record leaves the count at 1.
    if (refCount() > 1) {
        harbolance::standardOutput() << "DSResource::~DSResource: Deleting instance "
                                     << "which has outstanding references\n"
                                     << "Class name: '" << info.name() << "'. "
                                     << "Num of references: " << refCount() << "\n";
    }
}

namespace harbolance {

int compareRecords(const DSResource* a, const DSResource* b) {
    // A rule of the protocol: 1, whichever of the two is missing.
    if (!a || !b)
        return a == b ? 0 : 1;
    return a->compare(b);
}

void printRecord(NCostream& out, const DSResource* record) {
    if (record)
        record->printOn(out);
    else
        out.write("(nil)");
}

} // namespace harbolance
