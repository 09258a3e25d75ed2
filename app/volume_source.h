// Opening the source the command line names (an image file, a VMDK chain, a
// drive or partition) and finding the NTFS volume on it, with every finding
// of the way reported to the examiner.
#pragma once

#include <cstdint>
#include <memory>

#include "app/indx_options.h"
#include "disk/container.h"
#include "disk/disk.h"
#include "disk/vmdk.h"

// The lines that report why an -image file could not be opened as a disk.
std::string container_fault_lines(const container_fault& fault);

// The lines that report why a VMDK collection could not be assembled,
// evidence-supplied names escaped; "" when there is nothing to say.
std::string vmdk_fault_lines(const vmdk_fault& fault);

// On success `out` holds the open disk and `volume_offset` the byte offset
// of the NTFS volume; on failure `out` is empty and the reasons are printed.
bool open_volume_source(const indx_options& options, std::unique_ptr<disk>& out, uint64_t& volume_offset);
