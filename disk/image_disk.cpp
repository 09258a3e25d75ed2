#include "disk/image_disk.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

bool source_length(int fd, uint64_t& length) {
  struct stat info {};
  if (::fstat(fd, &info) != 0) return false;
  if (S_ISREG(info.st_mode)) {
    length = static_cast<uint64_t>(info.st_size);
    return true;
  }
  if (!S_ISBLK(info.st_mode)) return false;
  const off_t end = ::lseek(fd, 0, SEEK_END);
  if (end < 0) return false;
  length = static_cast<uint64_t>(end);
  return true;
}

size_t read_fd_at(int fd, uint64_t offset, std::span<uint8_t> buffer) {
  size_t done = 0;
  while (done < buffer.size()) {
    const ssize_t n = ::pread(fd, buffer.data() + done, buffer.size() - done, static_cast<off_t>(offset + done));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  return done;
}

image_disk::image_disk(const std::string& path) {
  vk::unique_fd fd = vk::open_source_file(path);
  m_open_error = fd.valid() ? 0 : errno;
  if (!fd.valid() || !source_length(fd.get(), m_size)) {
    m_size = 0;
    return;
  }
  m_fd = std::move(fd);
}

size_t image_disk::read(uint64_t offset, std::span<uint8_t> buffer) {
  if (!m_fd.valid() || offset >= m_size) return 0;
  const size_t wanted = static_cast<size_t>(std::min<uint64_t>(buffer.size(), m_size - offset));
  return read_fd_at(m_fd.get(), offset, buffer.first(wanted));
}

uint64_t image_disk::next_data(uint64_t offset) const {
  if (!m_fd.valid() || offset >= m_size) return offset;
  const off_t data = ::lseek(m_fd.get(), static_cast<off_t>(offset), SEEK_DATA);
  if (data >= 0) return static_cast<uint64_t>(data);
  // ENXIO: only a hole follows; anything else (a device, a file system
  // without the call): no knowledge.
  return errno == ENXIO ? m_size : offset;
}
