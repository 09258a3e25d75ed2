// The files of a source made of many files (split raw pieces, VMDK extent
// files), opened by name and read by position, with at most `capacity` of
// them holding a descriptor at a time.  A set can have thousands of files,
// more than a process may hold open: a file closed to make room is opened
// again when it is next read, and must still be the file that was recorded
// when it was added (by device and inode), or it is not read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "support/file_util.h"

class file_pool {
 public:
  explicit file_pool(size_t capacity);

  // Opens `path` read-only and records it as a source (closing the least
  // recently used file while the process has no descriptor left): 0 and its
  // number in `id`, or the errno of the failure.
  int add(const std::string& path, size_t& id);

  // The descriptor of file `id`, opened again if it was closed to make room;
  // valid until the next call.  -1 when it cannot be opened again or is no
  // longer the same file.
  int descriptor(size_t id);

  // Closes every descriptor, to free them for something else; the files
  // open again when read.
  void close_all();

  // Closes file `id` for good: it is not read again, and its number may be
  // given to a file added later.
  void release(size_t id);

 private:
  struct entry {
    std::string path;
    vk::file_identity identity;
    vk::unique_fd fd;
    uint64_t last_use = 0;
  };

  int open_with_room(const std::string& path, vk::unique_fd& fd, bool first_time);
  void hold(size_t id, vk::unique_fd fd);
  void close_least_recent();

  size_t m_capacity;
  std::vector<entry> m_files;
  std::vector<size_t> m_open;  // the files holding a descriptor
  std::vector<size_t> m_released;  // numbers free for reuse
  uint64_t m_clock = 0;
};
