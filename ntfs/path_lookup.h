// From a path to the MFT entry of the directory it names, walking the $I30
// indexes from the root directory one segment at a time.
//
// Names are compared without regard to case, as Windows does: through the
// volume's own $UpCase table (ntfs/name_folding.h).  A name that matches
// exactly is preferred over one that matches only after folding, so that
// POSIX names differing in case resolve as written.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "ntfs/volume_caches.h"

class CNtfs;

// The live entries of one directory's $I30 index, read by the caller (the
// index belongs to the layers above); false when the directory cannot be read.
using children_reader = std::function<bool(uint64_t directory, std::vector<directory_child>& children)>;

// Resolves `path` ("\dir\sub", "c:\dir\sub", "dir/sub"): a drive letter
// segment is skipped (a "\\?\snapid_..." snapshot path is not recognised:
// the -path value has its doubled backslashes collapsed before it gets here), a segment is cut at its
// first ":" (a stream name), "." stays and ".." goes up.  A directory that is
// a symbolic link or a junction is followed: its target (with "\??\" and a
// drive letter removed) and the remaining segments are resolved again from
// the root, at most 32 times.  Children of each directory read are cached in
// the volume.  Diagnostics go to the run log.
bool entry_of_path(CNtfs& volume, const std::string& path, const children_reader& read_children, uint64_t& entry,
                   uint16_t& seq);
