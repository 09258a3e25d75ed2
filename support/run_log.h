// The run log: diagnostic lines of the volume and path layers ("err: ...",
// "info: ...").  They help whoever investigates a damaged volume but are not
// part of the report, and a normal run must leave standard error exactly as
// the user-facing messages made it.  The log is therefore off by default and
// written only when the environment variable SLIX_DEBUG_LOG names a file.
#pragma once

#include <string>

namespace vk {

// Appends one formatted line (a newline is added) to the run log, when one
// is configured; otherwise does nothing and costs one flag test.
void log_line(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace vk
