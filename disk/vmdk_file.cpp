#include "disk/vmdk_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

namespace {

// Extent files held open at once.
constexpr size_t max_open_files = 64;

file_pool& vmdk_files() {
  static file_pool pool(max_open_files);
  return pool;
}

}  // namespace

std::shared_ptr<const vmdk_file> vmdk_file::open(const std::string& path, int& error) {
  // Opening does not wait for a writer when a hostile name points at a FIFO.
  size_t id = 0;
  error = vmdk_files().add(path, id);
  if (error != 0) return nullptr;
  std::unique_ptr<vmdk_file> file(new vmdk_file(id, path, 0));  // from here closed for good when it goes
  struct stat st {};
  if (::fstat(vmdk_files().descriptor(id), &st) != 0) {
    error = errno;
    return nullptr;
  }
  if (!S_ISREG(st.st_mode) || st.st_size < 0) return nullptr;
  file->m_size = static_cast<uint64_t>(st.st_size);
  return file;
}

vmdk_file::~vmdk_file() { vmdk_files().release(m_id); }

bool vmdk_file::read_zero_filled(uint64_t pos, std::span<uint8_t> buffer) const {
  size_t done = 0;
  while (done < buffer.size() && pos < m_size) {
    constexpr uint64_t max_offset = static_cast<uint64_t>(std::numeric_limits<off_t>::max());
    if (pos > max_offset) break;
    const size_t want = static_cast<size_t>(std::min<uint64_t>(buffer.size() - done, m_size - pos));
    const int fd = vmdk_files().descriptor(m_id);
    if (fd < 0) return false;
    const ssize_t n = ::pread(fd, buffer.data() + done, want, static_cast<off_t>(pos));
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
