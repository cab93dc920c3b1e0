#include "model/reader.h"

#include "model/builder.h"
#include "syntax/parser.h"

namespace harbidl {

std::unique_ptr<Reading> Reading::of(std::string text, std::string name, bool warningsAreErrors) {
    // On the heap, because the diagnostics refer to its source, which must not move.
    std::unique_ptr<Reading> reading(new Reading(std::move(text), std::move(name), warningsAreErrors));
    Diagnostics& diagnostics = reading->diagnostics;
    try {
        const std::vector<tree::Definition> tree = Parser(reading->source, diagnostics).specification();
        // No model is made from an incomplete tree.
        if (!diagnostics.failed())
            reading->model = Builder(reading->source, diagnostics).build(tree);
    } catch (const GiveUp&) {
        // the diagnostics say why
    }
    return reading;
}

} // namespace harbidl
