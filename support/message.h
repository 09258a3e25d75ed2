// The console: printf-style messages to standard error, and the single
// overwritable status line.
#pragma once

#include <cstdarg>
#include <string>

namespace vk {

// printf-style formatting into a string.
std::string vformat(const char* format, va_list args);

// Formats into a buffer and writes it to standard error in one piece, then
// flushes, so messages interleave correctly with the report on a terminal.
void print_message(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The status line is one console line that each call overwrites.  It is shown
// only when standard error is a terminal: a redirected error stream (a log,
// a test) receives the messages alone.
class status_line {
 public:
  static void set_enabled(bool enabled);
  static void show(const std::string& text);
  // Erases the line so that a following message starts on a clean line.
  static void clear();
};

}  // namespace vk
