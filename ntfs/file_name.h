// A $FILE_NAME attribute value: the name of a file in one parent directory.
// It has the layout of an index key (the index stores a copy of it), so its
// field offsets are those of indx/indx_format.h.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "support/types.h"

struct file_name_value {
  mft_ref parent_ref = 0;
  uint8_t name_space = 0;  // 0 POSIX, 1 Win32, 2 DOS, 3 Win32 and DOS
  std::string name;
};

// Decodes a resident $FILE_NAME value; false when it is too short for its
// stated name.
bool read_file_name(std::span<const uint8_t> value, file_name_value& out);

// True when `candidate` is a better name to show than `current`: any long
// name (POSIX, Win32, or both) wins over an 8.3 DOS name, and otherwise the
// first name seen is kept.
bool is_preferred_name(const file_name_value& candidate, const file_name_value& current);
