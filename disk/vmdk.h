// VMware virtual disks as a disk object.  The -vmdk argument lists a base
// disk and the snapshot children that depend on it, separated by "|"; each
// name is a descriptor file or a monolithic sparse extent.  The disks are
// chained by their content IDs, and a read is served grain by grain from the
// newest child that holds the grain, falling back to its parents; a grain no
// disk holds reads as zeros.
//
// Hosted sparse, flat (also VMFS) and zero extents are read.  Extents with
// compressed grains (streamOptimized) are refused: inflating them would need
// a compression library; qemu-img convert -O raw turns them into a raw image.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "disk/disk.h"

// Splits the -vmdk argument at "|", trims blanks around each name and drops
// empty names.  A name without a "/" after the first one lies in the first
// name's folder (the collection's folder).
std::vector<std::string> split_vmdk_list(const std::string& list);

// Why a collection could not be assembled.
enum class vmdk_fault_kind {
  none,            // an empty list: nothing to say
  cannot_open,     // `file` cannot be opened; `reason` says why, as a whole line, when known; `error` is the
                   // errno of the failed open of the file `reason` names (of `file` when `reason` is "")
  missing_parent,  // `file` names parent CID `parent_cid` (`parent_hint`), which no disk in the list has
  cid_errors,      // the CIDs do not form one line of descent
};

struct vmdk_fault {
  vmdk_fault_kind kind = vmdk_fault_kind::none;
  std::string file;
  std::string reason;
  std::string parent_cid;
  std::string parent_hint;
  int error = 0;
};

// The collection, or the fault that stopped it.  Names in the fault come
// from the evidence as they stand; escaping them is the caller's business.
struct vmdk_opening {
  std::unique_ptr<disk> source;
  vmdk_fault fault;
};

vmdk_opening open_vmdk_source(const std::string& list);
