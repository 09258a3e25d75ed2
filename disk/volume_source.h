// Opening the source named on the command line (image file, VMDK chain or
// physical drive) and finding the NTFS volume on it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "app/indx_options.h"
#include "disk/disk.h"

// Opens an image file read-only.  An empty name fails silently; a file that
// cannot be opened prints "invalid image: <name>".
std::unique_ptr<disk> open_image_source(const std::string& file);

// Opens the source the options name (image, else VMDK list, else drive or
// partition) and checks the volume offset on it.  On success `out` holds the
// open disk and `volume_offset` the byte offset of the NTFS volume; on failure
// `out` is empty and the reason has been printed.
bool open_volume_source(const indx_options& options, std::unique_ptr<disk>& out, uint64_t& volume_offset);
