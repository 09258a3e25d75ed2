// Whole-file reads for small inputs (INDX files, descriptors).
#pragma once

#include <cstddef>
#include <string>

#include "support/types.h"

namespace vk {

// Reads at most `limit` bytes from the start of a file opened read-only, in
// large chunks.  False when the file cannot be opened or read.
bool read_file_prefix(const std::string& path, size_t limit, byte_array& out);

}  // namespace vk
