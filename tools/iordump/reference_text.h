#pragma once

#include "marshal/reference/vior.h"

#include <iosfwd>
#include <stdexcept>
#include <string>
#include <string_view>

// Stringified references as people hand them over.

// Why a text is no reference; `what()` is for the user.
struct BadReference : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// All that the stream holds. Raises BadReference when that is more than any reference.
std::string readText(std::istream& stream);

// Blanks and ends of lines around the reference are dropped. Raises BadReference.
IOP::IOR readReference(std::string_view text);
