#include "model/reader.h"

#include "model/builder.h"
#include "syntax/parser.h"

namespace harbidl {

std::unique_ptr<Reading> Reading::of(std::string text, std::string name, bool warningsAreErrors) {
    // On the heap, since the diagnostics refer to the source inside it, which must not move.
    std::unique_ptr<Reading> reading(new Reading(std::move(text), std::move(name), warningsAreErrors));
    Diagnostics& diagnostics = reading->diagnostics;
    try {
        const std::vector<tree::Definition> tree = Parser(reading->source, diagnostics).specification();
        // What a tree with holes means would be guesswork.
        if (!diagnostics.failed())
            reading->model = Builder(reading->source, diagnostics).build(tree);
    } catch (const GiveUp&) {
        // the diagnostics say why
    }
    return reading;
}

} // namespace harbidl
