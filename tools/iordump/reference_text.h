#pragma once

#include "marshal/reference/vior.h"

#include <iosfwd>
#include <stdexcept>
#include <string>
#include <string_view>

// Stringified references as users type or store them.

// Why a text is no reference; `what()` is for the user.
struct BadReference : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Reads the stream to its end. Raises BadReference above 64 MiB, which no reference needs.
std::string readText(std::istream& stream);

// White space around the reference is ignored. Raises BadReference.
IOP::IOR readReference(std::string_view text);
