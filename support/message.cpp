#include "support/message.h"

#include <unistd.h>

#include <cstdio>
#include <vector>

#include "support/vk_string.h"

namespace vk {
namespace {

bool g_status_enabled = false;
bool g_status_visible = false;

void write_all(int fd, const char* data, size_t len) {
  while (len > 0) {
    const ssize_t n = ::write(fd, data, len);
    if (n <= 0) return;
    data += n;
    len -= static_cast<size_t>(n);
  }
}

}  // namespace

std::string vformat(const char* format, va_list args) {
  va_list copy;
  va_copy(copy, args);
  const int needed = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  if (needed <= 0) return {};
  std::vector<char> buf(static_cast<size_t>(needed) + 1);
  std::vsnprintf(buf.data(), buf.size(), format, args);
  return std::string(buf.data(), static_cast<size_t>(needed));
}

void print_message(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const std::string text = vformat(format, args);
  va_end(args);
  if (text.empty()) return;
  status_line::clear();
  write_all(STDERR_FILENO, text.data(), text.size());
}

void status_line::set_enabled(bool enabled) { g_status_enabled = enabled && ::isatty(STDERR_FILENO) == 1; }

void status_line::show(const std::string& text) {
  if (!g_status_enabled) return;
  // Carriage return, the text, then erase to the end of the line (ANSI EL).
  // The text names files and folders of the evidence: no control or hidden
  // character of theirs reaches the terminal (what is escaped already stays).
  const std::string line = "\r" + escape_controls(text) + "\x1b[K";
  write_all(STDERR_FILENO, line.data(), line.size());
  g_status_visible = true;
}

void status_line::clear() {
  if (!g_status_visible) return;
  static const char erase[] = "\r\x1b[K";
  write_all(STDERR_FILENO, erase, sizeof erase - 1);
  g_status_visible = false;
}

}  // namespace vk
