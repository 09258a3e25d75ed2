#include "support/output_sink.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "support/message.h"

namespace vk {

output_sink::output_sink() : m_fd(STDOUT_FILENO), m_terminal(::isatty(m_fd) == 1) {
  m_buffer.reserve(flush_threshold * 2);
}

output_sink::output_sink(unique_fd results_file)
    : m_owned(std::move(results_file)), m_fd(m_owned.get()), m_terminal(::isatty(m_fd) == 1) {
  m_buffer.reserve(flush_threshold * 2);
}

output_sink::~output_sink() { finish(); }

unique_fd output_sink::open_results_file(const std::string& name, bool append) {
  const int mode = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | (append ? O_APPEND : 0);
  return unique_fd(::open(name.c_str(), mode, 0644));
}

bool output_sink::truncate_results() {
  struct stat info {};
  if (::fstat(m_fd, &info) != 0 || !S_ISREG(info.st_mode) || (::fcntl(m_fd, F_GETFL) & O_APPEND) != 0) return true;
  if (::ftruncate(m_fd, 0) == 0) return true;
  if (m_error == 0) m_error = errno;
  return false;
}

void output_sink::write(std::string_view text) {
  if (m_error != 0) return;
  m_buffer.append(text);
  if (m_buffer.size() >= flush_threshold) flush();
}

void output_sink::flush() {
  if (m_terminal && !m_buffer.empty()) status_line::clear();
  const char* data = m_buffer.data();
  size_t left = m_buffer.size();
  while (left > 0 && m_error == 0) {
    const ssize_t n = ::write(m_fd, data, left);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      m_error = n < 0 ? errno : EIO;
      break;
    }
    data += n;
    left -= static_cast<size_t>(n);
  }
  m_buffer.clear();
}

bool output_sink::finish() {
  flush();
  if (m_owned.valid() && !m_owned.reset() && m_error == 0) m_error = errno;
  return m_error == 0;
}

}  // namespace vk
