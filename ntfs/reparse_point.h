// Symbolic links and junctions: reparse points whose data names another
// path on the volume.
#pragma once

#include <span>
#include <string>

struct link_target {
  std::string path;  // "\??\" and a drive letter removed: "\dir\sub" or "sub\x"
  bool relative = false;  // relative to the directory holding the link
};

// Decodes a $REPARSE_POINT value.  Only symbolic links (0xA000000C) and
// junctions (0xA0000003) name a path; other tags, or a value too short for
// its names, give false.  The substitute name is used, the print name when
// the substitute is empty.
bool read_link_target(std::span<const uint8_t> value, link_target& out);
