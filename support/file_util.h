// Files: one owner of a descriptor, the identity of a file (device and
// inode), the record of every evidence file the run has opened, and
// whole-file reads for small inputs.
//
// Every source (an INDX file, an image, each file of a container) is opened
// read-only through open_source_file, which remembers its identity.  The
// results file is then compared with those identities, not with names: a hard
// link, a symbolic link or another spelling of a source is the same file, and
// writing the report over it would destroy the evidence.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "support/types.h"

namespace vk {

// Owns one open file descriptor and closes it when it goes.
class unique_fd {
 public:
  unique_fd() = default;
  explicit unique_fd(int fd) : m_fd(fd) {}
  ~unique_fd() { reset(); }
  unique_fd(unique_fd&& other) noexcept : m_fd(other.release()) {}
  unique_fd& operator=(unique_fd&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }
  unique_fd(const unique_fd&) = delete;
  unique_fd& operator=(const unique_fd&) = delete;

  int get() const { return m_fd; }
  bool valid() const { return m_fd >= 0; }
  int release() {
    const int fd = m_fd;
    m_fd = -1;
    return fd;
  }
  // Closes the descriptor held; false when close() reported an error (a
  // delayed write error on the results file shows only here).
  bool reset(int fd = -1);

 private:
  int m_fd = -1;
};

struct file_identity {
  dev_t device = 0;
  ino_t inode = 0;
  bool block_device = false;
  bool operator==(const file_identity&) const = default;
};

// The identity of a named file (links followed); nothing when it does not exist.
std::optional<file_identity> identity_of_path(const std::string& path);
std::optional<file_identity> identity_of_fd(int fd);
// The identity of an open descriptor that stores what is written to it (a
// regular file or a block device); nothing for a terminal, a pipe or a
// character device, which cannot be evidence overwritten.
std::optional<file_identity> storage_identity_of_fd(int fd);

// Opens an evidence file read-only (never blocking on a FIFO that has no
// writer yet unless `wait_for_writer`) and records its identity.
unique_fd open_source_file(const std::string& path, bool wait_for_writer = false);

// Records the identity of a source that a library opens by name itself.
void note_source_file(const std::string& path);

// True when a file with this identity has been opened as a source.
bool is_source_file(const file_identity& identity);
// True when `identity` is a source opened so far or one of the named files.
bool is_source_or_named(const file_identity& identity, const std::vector<std::string>& names);

// Reads at most `limit` bytes from the start of a source file, in large
// chunks.  Regular files and block devices are read by position; pipes,
// FIFOs and character devices by plain reads, as they arrive.  0 on success,
// else the errno of the failure (EISDIR for a folder).
int read_file_prefix(const std::string& path, size_t limit, byte_array& out);

}  // namespace vk
