// Orders the disks of a VMDK collection into a chain by their content IDs.
// Every disk names its parent's CID ("ffffffff" for a base disk).  A usable
// collection is a single line of descent: exactly one disk that no other
// names as parent (the newest child, where reads begin), each disk's parent
// present, and no CID shared or repeated along the way.  Anything else (two
// children of one parent, two unrelated disks, a disk naming itself, a loop)
// cannot say which disk holds the current data, so it is refused.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

struct vmdk_chain_member {
  std::string cid;  // lower case
  std::string parent_cid;  // lower case; "ffffffff" for a base disk
};

enum class vmdk_chain_fault { none, missing_parent, cid_errors };

struct vmdk_chain_order {
  vmdk_chain_fault fault = vmdk_chain_fault::none;
  std::vector<size_t> newest_first;  // member indexes, newest child to base
  size_t orphan = 0;  // with missing_parent: the first member whose parent is absent
};

vmdk_chain_order order_vmdk_chain(const std::vector<vmdk_chain_member>& members);
