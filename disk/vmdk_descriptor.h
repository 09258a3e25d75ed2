// The text descriptor of a VMDK disk: "key=value" lines naming the disk's
// content ID (CID) and its parent's, then one extent line per piece of the
// virtual disk, in order:
//   ACCESS SECTORS TYPE ["FILE" [OFFSET]]     e.g.  RW 16384 SPARSE "disk.vmdk"
// The descriptor is either a small text file of its own or text embedded in
// a monolithic sparse extent.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The CID a base disk names as its parent.
inline constexpr std::string_view vmdk_no_parent_cid = "ffffffff";

struct vmdk_extent_line {
  std::string type;  // upper case: SPARSE, FLAT, VMFS, ZERO, ...
  uint64_t sectors = 0;
  std::string file_name;  // as written, relative to the descriptor's folder; empty for ZERO
  uint64_t file_offset_sectors = 0;  // where a flat extent's data begins in its file
};

struct vmdk_descriptor {
  std::string cid;  // lower case
  std::string parent_cid = std::string(vmdk_no_parent_cid);  // lower case
  std::string parent_hint;  // parentFileNameHint, for messages only
  std::vector<vmdk_extent_line> extents;
};

// Parses descriptor text (it ends at the first NUL, as embedded descriptors
// are padded with zeros).  Returns "" on success, else the reason, worded to
// follow the file's name in a message.
std::string parse_vmdk_descriptor(std::string_view text, vmdk_descriptor& out);

