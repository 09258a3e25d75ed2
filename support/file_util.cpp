#include "support/file_util.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace vk {

bool read_file_prefix(const std::string& path, size_t limit, byte_array& out) {
  out.clear();
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  struct stat info {};
  // Only regular files and block devices have a size worth trusting; a
  // directory "opens" but reads fail.
  if (::fstat(fd, &info) != 0 || S_ISDIR(info.st_mode)) {
    ::close(fd);
    return false;
  }
  constexpr size_t chunk = 1 << 20;
  bool ok = true;
  while (out.size() < limit) {
    const size_t old_size = out.size();
    out.resize(std::min(limit, old_size + chunk));
    const ssize_t n = ::pread(fd, out.data() + old_size, out.size() - old_size, static_cast<off_t>(old_size));
    if (n <= 0) {
      out.resize(old_size);
      ok = n == 0;
      break;
    }
    out.resize(old_size + static_cast<size_t>(n));
  }
  ::close(fd);
  return ok;
}

}  // namespace vk
