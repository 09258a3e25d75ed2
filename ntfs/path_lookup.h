// From a path to the MFT entry of the directory it names, walking the $I30
// indexes from the root directory one segment at a time.
//
// Names are compared without regard to case, as Windows does.  The folding
// used is simple and one-to-one: ASCII, Latin-1, Latin Extended-A, Greek and
// Cyrillic capitals map to their small letters.  (A volume's own $UpCase
// table can differ only for scripts beyond these.)  A name that matches
// exactly is preferred over one that matches only after folding, so that
// POSIX names differing in case resolve as written.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

class CNtfs;

// Resolves `path` ("\dir\sub", "c:\dir\sub", "dir/sub", a "\\?\snapid_..."
// snapshot path): a drive letter segment is skipped, a segment is cut at its
// first ":" (a stream name), "." stays and ".." goes up.  A directory that is
// a symbolic link or a junction is followed: its target (with "\??\" and a
// drive letter removed) and the remaining segments are resolved again from
// the root, at most 32 times.  Children of each directory read are cached in
// the volume.  Diagnostics go to the run log.
bool entry_of_path(CNtfs& volume, const std::string& path, uint64_t& entry, uint16_t& seq);

// True when the two names are equal after case folding.
bool names_match(std::string_view a, std::string_view b);
