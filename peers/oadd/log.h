#pragma once

#include <string_view>

namespace oadd {

enum class LogLevel { error, warning, info };

// One line on the standard error stream, with a time (UTC) and a level:
//
//     2026-11-22T10:11:12.123Z oadd info: "IDL:Hello:1.0" "Anna": process 17 is started
//
// Control characters in a peer's data become '?'. Writing never blocks: a line that the reader of a pipe does
// not read is lost. Lines less important than the configured level are dropped; the initial level is
// `warning`.
void log(LogLevel level, std::string_view text);
void setLogLevel(LogLevel level);

} // namespace oadd
