// One disk of a VMDK chain (a base disk or a snapshot child): its descriptor
// and its extents laid end to end in the order the descriptor lists them.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "disk/disk.h"
#include "disk/vmdk_descriptor.h"
#include "disk/vmdk_file.h"
#include "disk/vmdk_sparse.h"

class vmdk_link {
 public:
  // Opens a descriptor file, or a monolithic sparse extent holding its own
  // descriptor (that extent is then the disk's one extent, whatever name its
  // descriptor gives it, so a renamed file still opens).  On failure returns
  // nullptr; `why` is then "" when the file itself cannot be opened, else a
  // whole message line naming the file at fault; `error` is the errno of the
  // open that failed (0 when no open failed, or the file is not regular).
  static std::unique_ptr<vmdk_link> open(const std::string& path, std::string& why, int& error);

  const std::string& name() const { return m_name; }
  const vmdk_descriptor& descriptor() const { return m_descriptor; }
  uint64_t size() const { return m_size; }

  // `offset` counts bytes from the start of this disk.  Offsets past its end
  // are absent.
  vmdk_piece locate(uint64_t offset) const;

  // Extent files shorter than the header or descriptor says, once each.
  std::vector<source_warning> warnings() const;

 private:
  enum class extent_kind { sparse, flat, zero };
  struct extent {
    extent_kind kind = extent_kind::zero;
    uint64_t start = 0;  // byte offset of the extent in the disk
    uint64_t length = 0;
    std::shared_ptr<const vmdk_file> file;  // flat extents
    uint64_t file_offset = 0;  // where a flat extent's data begins in its file
    std::shared_ptr<const vmdk_sparse_extent> sparse;
  };

  explicit vmdk_link(std::string name) : m_name(std::move(name)) {}
  std::string open_monolithic(std::shared_ptr<const vmdk_file> file);
  std::string open_descriptor_file(std::shared_ptr<const vmdk_file> file);
  std::string add_extent(const vmdk_extent_line& line);
  std::shared_ptr<const vmdk_sparse_extent> open_sparse(const std::string& path, std::string& why);
  std::shared_ptr<const vmdk_file> open_file(const std::string& path);

  std::string m_name;
  vmdk_descriptor m_descriptor;
  std::vector<extent> m_extents;  // ascending start, none empty
  uint64_t m_size = 0;
  // Extent files already opened by this disk, by identity (device and
  // inode): a descriptor naming one file many times, by one name or several,
  // holds one descriptor for it and loads its grain tables once.
  std::vector<std::pair<vk::file_identity, std::shared_ptr<const vmdk_file>>> m_files;
  std::map<const vmdk_file*, std::shared_ptr<const vmdk_sparse_extent>> m_sparse;
  int m_open_error = 0;  // the errno of the extent file that failed to open
};
