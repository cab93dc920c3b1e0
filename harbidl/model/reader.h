#pragma once

#include "model/model.h"
#include "syntax/diagnostics.h"

#include <memory>

namespace harbidl {

// A definition that has been read: its text, its errors and, if there are none, its model.
struct Reading {
    SourceText source;
    Diagnostics diagnostics;
    Model model;

    // Reads preprocessed text, which begins in the file `name`.
    static std::unique_ptr<Reading> of(std::string text, std::string name, bool warningsAreErrors = false);

private:
    Reading(std::string text, std::string name, bool warningsAreErrors)
        : source(std::move(text), std::move(name)), diagnostics(source, warningsAreErrors) {}
};

} // namespace harbidl
