// One file of a VMDK disk (descriptor, sparse extent or flat extent), opened
// read-only.  Only regular files are accepted: opening a FIFO or a device
// named by a hostile descriptor must neither block nor touch hardware.  The
// files share one pool of descriptors (file_pool): a disk split into more
// extent files than the process may hold open is still read whole.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include "disk/file_pool.h"

class vmdk_file {
 public:
  // nullptr when the path cannot be opened or is not a regular file;
  // `error` is then the system's errno, or 0 for a file that is not regular.
  static std::shared_ptr<const vmdk_file> open(const std::string& path, int& error);

  ~vmdk_file();
  vmdk_file(const vmdk_file&) = delete;
  vmdk_file& operator=(const vmdk_file&) = delete;

  const std::string& path() const { return m_path; }
  uint64_t size() const { return m_size; }

  // Fills the buffer from `pos`; bytes past the end of the file read as
  // zeros.  False on an I/O error.
  bool read_zero_filled(uint64_t pos, std::span<uint8_t> buffer) const;

  // True when the whole buffer lies inside the file and was read.
  bool read_exact(uint64_t pos, std::span<uint8_t> buffer) const;

 private:
  vmdk_file(size_t id, std::string path, uint64_t size) : m_id(id), m_path(std::move(path)), m_size(size) {}

  size_t m_id;  // in the pool
  std::string m_path;
  uint64_t m_size;
};
