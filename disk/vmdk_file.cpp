#include "disk/vmdk_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

std::shared_ptr<const vmdk_file> vmdk_file::open(const std::string& path, int& error) {
  // Opening does not wait for a writer when a hostile name points at a FIFO.
  vk::unique_fd fd = vk::open_source_file(path);
  error = fd.valid() ? 0 : errno;
  struct stat st {};
  if (!fd.valid()) return nullptr;
  if (::fstat(fd.get(), &st) != 0) {
    error = errno;
    return nullptr;
  }
  if (!S_ISREG(st.st_mode) || st.st_size < 0) return nullptr;
  const auto size = static_cast<uint64_t>(st.st_size);
  return std::shared_ptr<const vmdk_file>(new vmdk_file(std::move(fd), path, size));
}

bool vmdk_file::read_zero_filled(uint64_t pos, std::span<uint8_t> buffer) const {
  size_t done = 0;
  while (done < buffer.size() && pos < m_size) {
    constexpr uint64_t max_offset = static_cast<uint64_t>(std::numeric_limits<off_t>::max());
    if (pos > max_offset) break;
    const size_t want = static_cast<size_t>(std::min<uint64_t>(buffer.size() - done, m_size - pos));
    const ssize_t n = ::pread(m_fd.get(), buffer.data() + done, want, static_cast<off_t>(pos));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) break;  // the file shrank since it was opened
    done += static_cast<size_t>(n);
    pos += static_cast<uint64_t>(n);
  }
  std::fill(buffer.begin() + static_cast<std::ptrdiff_t>(done), buffer.end(), uint8_t{0});
  return true;
}

bool vmdk_file::read_exact(uint64_t pos, std::span<uint8_t> buffer) const {
  if (pos > m_size || buffer.size() > m_size - pos) return false;
  return read_zero_filled(pos, buffer);
}
