// The readers behind open_container, one a format.  Each opens `path` and
// everything it names (segments, parents, backing files), read-only and
// recorded as sources; without its library, it returns the library_missing
// fault.
#pragma once

#include <string>

#include "disk/container.h"

container_opening open_ewf_image(const std::string& path);
container_opening open_vhdi_image(const std::string& path, container_kind kind);
container_opening open_qcow_image(const std::string& path);
container_opening open_split_raw_image(const std::string& path);

// True for a name that starts a split raw set: it ends in ".000" or ".001".
bool is_split_raw_name(const std::string& path);
