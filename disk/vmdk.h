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

// Opens the collection.  On failure prints what went wrong, then "invalid
// disk collection of snaps ", and returns nullptr; an empty list fails
// without a message.
std::unique_ptr<disk> open_vmdk_source(const std::string& list);
