// Taking in one MFT file record: signature checks and the update-sequence
// fixup, the header fields, and a record fetched with its attributes
// (extension records included).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "ntfs/attributes.h"
#include "support/types.h"

class CNtfs;

enum class record_kind { file, indx, baad, invalid };

// Checks the signature and repairs the record in place.  "FILE" needs the
// array at 0x30, at most nine words and a first attribute below 0x49; "INDX"
// uses the array its header names; "BAAD" is returned unrepaired; anything
// else is invalid.  The displaced words are not compared with the sequence
// number: a torn record is taken as it stands.
record_kind fix_up_record(std::span<uint8_t> record, size_t sector_size);

// True when the record begins with "FILE".
bool has_file_signature(std::span<const uint8_t> record);

// A "FILE" record whose header passes the checks above (no fixup done).
bool is_well_formed_file_record(std::span<const uint8_t> record);

// The record size implied by the word count: (count - 1) x 512.
size_t implied_record_size(std::span<const uint8_t> record);

// The header fields of a file record the volume layer uses.
struct record_header {
  uint16_t sequence = 0;
  uint16_t flags = 0;
  uint32_t bytes_allocated = 0;
  mft_ref base_ref = 0;
  bool is_directory() const;
};
record_header read_record_header(std::span<const uint8_t> record);

// One MFT record with every attribute it owns: those standing in the record
// itself, in order, then those its attribute list places in extension
// records, in list order.
struct mft_record {
  uint64_t entry = 0;
  record_header header;
  std::vector<mft_attribute> attributes;
};

// Fetches, checks and walks record `entry` and resolves its attribute list.
// A failed fetch or a "BAAD" record is logged and gives false.
bool load_mft_record(CNtfs& volume, uint64_t entry, mft_record& out);
