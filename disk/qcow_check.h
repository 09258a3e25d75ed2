// A strict look at a QCOW2 image's header and cluster tables before the
// library reads it.  libqcow trusts its tables: an entry with reserved bits
// set, or pointing past the end of the file, makes it copy past its buffers.
// Evidence is hostile input, so every table entry is checked here first and
// an image with one that no writer produces is refused.
//
// QCOW2 is big-endian.  The header gives the cluster size (a power of two),
// the L1 table; each L1 entry names an L2 table of one cluster; each L2 entry
// maps one guest cluster to a host cluster, or to a compressed run of
// 512-byte sectors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "disk/disk.h"

namespace qcow_format {

constexpr size_t version = 4;  // u32: 1, 2 or 3
constexpr size_t backing_file_offset = 8;  // u64
constexpr size_t backing_file_size = 16;  // u32
constexpr size_t cluster_bits = 20;  // u32
constexpr size_t virtual_size = 24;  // u64
constexpr size_t crypt_method = 32;  // u32: 0 none
constexpr size_t l1_size = 36;  // u32: entries
constexpr size_t l1_table_offset = 40;  // u64
constexpr size_t incompatible_features = 72;  // u64, version 3
constexpr size_t v2_header_size = 72;
constexpr size_t v3_header_size = 104;

constexpr uint32_t min_cluster_bits = 9;  // 512-byte clusters
constexpr uint32_t max_cluster_bits = 21;  // 2 MiB clusters
// Incompatible features the library can read: the dirty and corrupt marks.
// An external data file, another compression than zlib and extended L2
// entries are not read.
constexpr uint64_t readable_incompatible = 0x03;

// Table entries.
constexpr uint64_t offset_mask = 0x00FFFFFFFFFFFE00ULL;  // bits 9-55
constexpr uint64_t copied_flag = 1ULL << 63;
constexpr uint64_t compressed_flag = 1ULL << 62;
constexpr uint64_t zero_flag = 1ULL;  // version 3: the cluster reads as zeros

}  // namespace qcow_format

// "" when the image's header and every table entry are sound; else what is
// wrong.  `file` is the image file itself, read raw.
std::string qcow_layout_problem(disk& file);
