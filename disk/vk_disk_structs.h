// The partition scanner: lists what lies on a disk (MBR with its extended
// chain, GPT, or a bare volume with no table) as rows in sectors, with the
// unallocated gaps between them.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "disk/disk.h"

// What a row of the listing stands for.  Extended partitions are containers:
// the free space inside them, between their logical partitions, is listed as
// gaps like any other.
enum class row_kind { primary, extended, logical, gpt_structure, gpt_partition, whole_volume, gap };

struct partition_record {
  uint64_t start_sector = 0;
  uint64_t sector_count = 0;
  // The MBR type byte, 0xEE for GPT rows, 0 for gaps; a type guessed from the
  // partition's content has partition_type_guessed set.
  uint16_t type = 0;
  uint32_t sector_size = 512;
  row_kind kind = row_kind::primary;
  // The partition holds a BitLocker-encrypted volume: never NTFS to read.
  bool bitlocker = false;

  // Byte offsets on the disk, saturated at the top of the 64-bit range so
  // that a hostile LBA can never wrap round to a small offset.
  uint64_t byte_offset() const;
  uint64_t end_byte() const;
  uint64_t end_sector() const;
  bool is_gap() const { return kind == row_kind::gap; }
};

// A row of the partition list with the fields every kind of row has.
partition_record make_row(uint64_t start, uint64_t count, uint16_t type, uint32_t sector_size, row_kind kind);

// The rows in the order the tables list them, followed by the "unalloc" gaps
// in ascending order.
using partition_list = std::vector<partition_record>;

// Scans `source`.  With `search` set, a disk with no recognisable first
// sector is searched for a displaced MBR in its first MiB.  False when the
// first sectors cannot be read or no partition is found.
bool scan_partitions(disk& source, bool search, partition_list& rows);
