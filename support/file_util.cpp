#include "support/file_util.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace vk {
namespace {

std::vector<file_identity>& opened_sources() {
  static std::vector<file_identity> identities;
  return identities;
}

void remember(const file_identity& identity) {
  if (!is_source_file(identity)) opened_sources().push_back(identity);
}

// A block device is the same disk through any of its device nodes, so its
// identity is the device number it stands for.
file_identity identity_from(const struct stat& info) {
  if (S_ISBLK(info.st_mode)) return file_identity{info.st_rdev, 0, true};
  return file_identity{info.st_dev, info.st_ino, false};
}

// Files and block devices are read by position; streams as bytes arrive.
ssize_t read_some(int fd, bool positional, uint8_t* data, size_t length, size_t at) {
  for (;;) {
    const ssize_t n = positional ? ::pread(fd, data, length, static_cast<off_t>(at)) : ::read(fd, data, length);
    if (n >= 0 || errno != EINTR) return n;
  }
}

// Reads `size` bytes from the start of a regular file into `out`; a file
// that shrank meanwhile gives what it still holds.
int read_whole(int fd, size_t size, byte_array& out) {
  out.resize(size);
  size_t done = 0;
  while (done < size) {
    const ssize_t n = read_some(fd, true, out.data() + done, size - done, done);
    if (n < 0) return errno;
    if (n == 0) break;
    done += static_cast<size_t>(n);
  }
  out.resize(done);
  return 0;
}

}  // namespace

bool unique_fd::reset(int fd) {
  bool closed = true;
  if (m_fd >= 0) closed = ::close(m_fd) == 0;
  m_fd = fd;
  return closed;
}

std::optional<file_identity> identity_of_path(const std::string& path) {
  struct stat info {};
  if (path.empty() || ::stat(path.c_str(), &info) != 0) return std::nullopt;
  return identity_from(info);
}

std::optional<file_identity> identity_of_fd(int fd) {
  struct stat info {};
  if (fd < 0 || ::fstat(fd, &info) != 0) return std::nullopt;
  return identity_from(info);
}

std::optional<file_identity> storage_identity_of_fd(int fd) {
  struct stat info {};
  if (fd < 0 || ::fstat(fd, &info) != 0) return std::nullopt;
  if (!S_ISREG(info.st_mode) && !S_ISBLK(info.st_mode)) return std::nullopt;
  return identity_from(info);
}

unique_fd open_source_file(const std::string& path, bool wait_for_writer) {
  if (path.empty()) return unique_fd();
  // O_NONBLOCK keeps open() from waiting for a writer on a FIFO; it is
  // cleared again at once, so later reads block as usual.
  const int flags = O_RDONLY | O_CLOEXEC | O_NOCTTY | (wait_for_writer ? 0 : O_NONBLOCK);
  unique_fd fd(::open(path.c_str(), flags));
  if (!fd.valid()) return fd;
  if (!wait_for_writer) ::fcntl(fd.get(), F_SETFL, ::fcntl(fd.get(), F_GETFL) & ~O_NONBLOCK);
  if (const auto identity = identity_of_fd(fd.get())) remember(*identity);
  return fd;
}

void note_source_file(const std::string& path) {
  if (const auto identity = identity_of_path(path)) remember(*identity);
}

bool is_source_file(const file_identity& identity) {
  const auto& known = opened_sources();
  return std::find(known.begin(), known.end(), identity) != known.end();
}

bool is_source_or_named(const file_identity& identity, const std::vector<std::string>& names) {
  if (is_source_file(identity)) return true;
  return std::any_of(names.begin(), names.end(), [&](const std::string& name) { return identity_of_path(name) == identity; });
}

int read_file_prefix(const std::string& path, size_t limit, byte_array& out) {
  out.clear();
  const unique_fd fd = open_source_file(path, true);
  if (!fd.valid()) return errno;
  struct stat info {};
  if (::fstat(fd.get(), &info) != 0) return errno;
  if (S_ISDIR(info.st_mode)) return EISDIR;
  const bool positional = S_ISREG(info.st_mode) || S_ISBLK(info.st_mode);
  // A regular file is read at its size, in one buffer; a stream grows the
  // buffer as bytes arrive, up to the same limit.
  constexpr size_t chunk = 1 << 20;
  if (S_ISREG(info.st_mode)) return read_whole(fd.get(), std::min<uint64_t>(limit, static_cast<uint64_t>(info.st_size)), out);
  while (out.size() < limit) {
    const size_t old_size = out.size();
    out.resize(std::min(limit, old_size + chunk));
    const ssize_t n = read_some(fd.get(), positional, out.data() + old_size, out.size() - old_size, old_size);
    if (n <= 0) {
      out.resize(old_size);
      return n == 0 ? 0 : errno;
    }
    out.resize(old_size + static_cast<size_t>(n));
  }
  return 0;
}

}  // namespace vk
