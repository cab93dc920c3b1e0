#include "agent/records/dsname.h"

const NCTypeInfo DSName::info("DSName", ncCreate<DSName>, {&DSResource::info});
