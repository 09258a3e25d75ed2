// Turning the bytes of one index entry into an `indx_entry`, shared by the
// valid walk and the slack carver.
#pragma once

#include <string>
#include <string_view>

#include "indx/indx_entry.h"
#include "support/le_reader.h"
#include "support/types.h"

// Copies the file reference, the 8-byte entry header and the first 68 bytes
// of the $FILE_NAME key from `entry` (a view starting at the entry), and sets
// the size and the directory flag from the key.  Key bytes beyond the view
// are left zero; the name is the caller's business.
indx_entry decode_entry_fields(const vk::le_reader& entry);

// The entry's name: `units` UTF-16LE code units after the key's fixed part.
std::string decode_entry_name(const vk::le_reader& entry, size_t units);
