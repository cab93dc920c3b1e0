#pragma once

#include "syntax/source_text.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace harbidl {

// Thrown to end the work on a definition, after too many errors or at an unexpected end of the text.
struct GiveUp {};

// Collects what is wrong with a definition, to be shown to the user at the end.
class Diagnostics {
public:
    enum class Severity { error, warning, note };

    // With `warningsAreErrors` a warning counts as an error and is shown as one.
    explicit Diagnostics(const SourceText& source, bool warningsAreErrors = false)
        : source_(source), warningsAreErrors_(warningsAreErrors) {}

    // The twentieth error raises GiveUp.
    void error(Position position, std::string text);
    void warning(Position position, std::string text);
    // Another place that belongs to the error or warning before it.
    void note(Position position, std::string text);
    // An error with a note.
    void error(Position position, std::string text, Position other, std::string note);

    bool failed() const { return errors_ > 0; }

    // All in their order: "file:line:column: error: text", with the line as it stands in the user's file and
    // a caret.
    void print(std::ostream& out) const;

private:
    static constexpr int errorLimit = 20;
    static constexpr int warningLimit = 100;

    struct Message {
        Severity severity;
        Position position;
        std::string text;
    };
    void add(Severity severity, Position position, std::string text);

    const SourceText& source_;
    bool warningsAreErrors_;
    std::vector<Message> messages_;
    int errors_ = 0;
    int warnings_ = 0;
};

} // namespace harbidl
