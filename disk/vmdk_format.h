// On-disk layout of a VMware hosted sparse extent ("KDMV").  The file begins
// with a 512-byte header; it may embed a text descriptor, and it maps its
// virtual sectors through a grain directory whose entries point at grain
// tables, whose entries in turn point at grains of data.  Every position in
// the header counts 512-byte sectors from the start of the extent file.
// Every offset into the header is named here and nowhere else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace vmdk_format {

constexpr uint64_t sector_size = 512;
constexpr size_t header_size = 512;
constexpr uint32_t sparse_magic = 0x564D444B;  // "KDMV" read as a little-endian u32

// Sparse extent header, offsets from the start of the file.
constexpr size_t hdr_magic = 0;  // u32 "KDMV"
constexpr size_t hdr_version = 4;  // u32: 1, 2 or 3
constexpr size_t hdr_flags = 8;  // u32, bits below
constexpr size_t hdr_capacity = 12;  // u64: virtual size of the extent, sectors
constexpr size_t hdr_grain_size = 20;  // u64: sectors per grain
constexpr size_t hdr_descriptor_offset = 28;  // u64: embedded descriptor, sector; 0 = none
constexpr size_t hdr_descriptor_size = 36;  // u64: embedded descriptor length, sectors
constexpr size_t hdr_gtes_per_gt = 44;  // u32: grain entries in one grain table
constexpr size_t hdr_rgd_offset = 48;  // u64: redundant grain directory, sector
constexpr size_t hdr_gd_offset = 56;  // u64: grain directory, sector
constexpr size_t hdr_overhead = 64;  // u64: sectors of metadata before the first grain
constexpr size_t hdr_unclean_shutdown = 72;  // u8: 1 when the writer did not close it cleanly
constexpr size_t hdr_single_end_line = 73;  // u8 '\n'
constexpr size_t hdr_non_end_line = 74;  // u8 ' '
constexpr size_t hdr_double_end_line1 = 75;  // u8 '\r'
constexpr size_t hdr_double_end_line2 = 76;  // u8 '\n'
constexpr size_t hdr_compress_algorithm = 77;  // u16: 0 none, 1 deflate

// Header flag bits.
constexpr uint32_t flag_valid_newline_test = 1u << 0;  // the four line-end characters are meaningful
constexpr uint32_t flag_redundant_gt = 1u << 1;  // a redundant grain directory and tables exist
constexpr uint32_t flag_zeroed_grain_gte = 1u << 2;  // a grain table entry of 1 means "grain of zeros"
constexpr uint32_t flag_compressed = 1u << 16;  // grains are compressed (streamOptimized)
constexpr uint32_t flag_markers = 1u << 17;  // the stream holds metadata markers (streamOptimized)

// A streamOptimized extent (an OVA export) stores each grain deflated, behind
// a 12-byte grain marker, and may leave the grain directory's place to a
// footer: a copy of the header in the second-to-last sector of the file.
constexpr uint16_t compress_deflate = 1;
constexpr uint64_t gd_at_end = ~uint64_t{0};
constexpr uint64_t footer_from_end = 1024;
constexpr size_t marker_lba = 0;  // u64: the grain's first sector in the extent
constexpr size_t marker_size = 8;  // u32: bytes of deflated data that follow
constexpr size_t marker_header_size = 12;

// Grain directory and grain table entries are u32 sector numbers; 0 means
// "not allocated in this extent".
constexpr size_t table_entry_size = 4;
constexpr uint32_t gte_absent = 0;
constexpr uint32_t gte_zeroed = 1;

// The header as a plain value.
struct VMDK_SPARSE_HEADER {
  uint32_t magic = 0, version = 0, flags = 0;
  uint64_t capacity = 0, grain_size = 0;  // sectors
  uint64_t descriptor_offset = 0, descriptor_size = 0;  // sectors
  uint32_t gtes_per_gt = 0;
  uint64_t rgd_offset = 0, gd_offset = 0, overhead = 0;  // sectors
  uint8_t unclean_shutdown = 0;
  uint8_t line_end_chars[4] = {};
  uint16_t compress_algorithm = 0;
};

// Decodes the first 512 bytes of an extent; false when fewer bytes are given.
bool decode_sparse_header(std::span<const uint8_t> bytes, VMDK_SPARSE_HEADER& header);

// True when the extent's grains are stored deflated (streamOptimized).
bool has_compressed_grains(const VMDK_SPARSE_HEADER& header);

// Checks the fields that size and place the grain directory against the
// extent file's size.  Returns "" when the header is usable, else the reason,
// worded to follow the file's name in a message.
std::string sparse_header_problem(const VMDK_SPARSE_HEADER& header, uint64_t file_size);

// Sector of the grain directory to use: the primary one, or the redundant
// copy when the primary is absent.
uint64_t grain_directory_sector(const VMDK_SPARSE_HEADER& header);

// Number of grain directory entries needed to cover the capacity.
uint64_t grain_directory_entries(const VMDK_SPARSE_HEADER& header);

}  // namespace vmdk_format
