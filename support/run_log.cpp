#include "support/run_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "support/message.h"

namespace vk {
namespace {

// Opened on first use and kept for the whole run; -1 when no log is wanted
// or the file cannot be opened (a missing log never disturbs the run).
int log_descriptor() {
  static const int fd = [] {
    const char* name = std::getenv("SLIX_DEBUG_LOG");
    if (name == nullptr || *name == '\0') return -1;
    return ::open(name, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  }();
  return fd;
}

}  // namespace

void log_line(const char* format, ...) {
  const int fd = log_descriptor();
  if (fd < 0) return;
  va_list args;
  va_start(args, format);
  const std::string line = vformat(format, args) + "\n";
  va_end(args);
  // One write per line: O_APPEND keeps lines whole even if two runs share a log.
  [[maybe_unused]] const ssize_t written = ::write(fd, line.data(), line.size());
}

}  // namespace vk
