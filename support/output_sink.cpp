#include "support/output_sink.h"

#include <fcntl.h>
#include <unistd.h>

namespace vk {

output_sink::output_sink(int fd, bool owns) : m_fd(fd), m_owns(owns) { m_buffer.reserve(flush_threshold * 2); }

output_sink::~output_sink() {
  flush();
  if (m_owns && m_fd >= 0) ::close(m_fd);
}

int output_sink::open_results_file(const std::string& name, bool append) {
  const int mode = O_WRONLY | O_CREAT | O_CLOEXEC | (append ? O_APPEND : O_TRUNC);
  return ::open(name.c_str(), mode, 0644);
}

void output_sink::write(std::string_view text) {
  m_buffer.append(text);
  if (m_buffer.size() >= flush_threshold) flush();
}

void output_sink::flush() {
  const char* data = m_buffer.data();
  size_t left = m_buffer.size();
  while (left > 0 && m_good) {
    const ssize_t n = ::write(m_fd, data, left);
    if (n <= 0) {
      m_good = false;
      break;
    }
    data += n;
    left -= static_cast<size_t>(n);
  }
  m_buffer.clear();
}

}  // namespace vk
