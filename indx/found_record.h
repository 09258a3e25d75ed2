// INDX records found by their signature where no index points to them (the
// volume's free clusters), and the entries they still hold.
//
// Such a record is taken in with more suspicion than one an index leads to:
// its update sequence array and node header must be plausible, and a sector
// end whose word does not hold the update sequence number (the record was
// torn, or a later write covered part of it) is not repaired with a guess.
// Its two bytes are unknown, so every entry that covers them is dropped
// rather than shown with the wrong bytes.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <utility>
#include <vector>

#include "indx/entry_store.h"
#include "support/types.h"

struct found_index_record {
  uint64_t volume_offset = 0;  // of the record's first byte
  byte_array bytes;            // fixed up where the sector ends check out
  // Record offsets of the sector-end words that did not check out.
  std::vector<uint32_t> damaged_words;
};

// The bytes of the records carved entries came from, kept by volume offset
// so that -hexdump can show an entry's bytes.
class kept_records {
 public:
  void keep(uint64_t volume_offset, std::span<const uint8_t> bytes);
  // The bytes from `volume_offset` to the end of the record that holds it;
  // empty when no kept record does.
  std::span<const uint8_t> from(uint64_t volume_offset) const;
  void clear() {
    m_bytes.clear();
    m_records.clear();
  }

 private:
  byte_array m_bytes;
  std::map<uint64_t, std::pair<size_t, size_t>> m_records;  // volume offset: position in m_bytes, length
};

// Checks and fixes up an INDX record of `record.size()` bytes (the volume's
// index record size) in place, with the volume's sector size as the stride
// where the word count says so.  False when the bytes are not a plausible
// INDX record: signature, update sequence array, node header.
bool take_in_found_record(std::span<uint8_t> record, uint32_t sector_size, std::vector<uint32_t>& damaged_words);

// Parses a found record's node, valid walk and slack carving, into `stores`:
// every entry is slack (nothing in a free cluster is live), offsets count
// from the volume's first byte, and entries covering a damaged sector end
// are dropped.
void parse_found_record(const found_index_record& record, entry_stores& stores);

// The parent reference most of `stores`' slack entries carry (of equal
// counts, the first to reach it; parents of sequence 0 only when no other
// is there); 0 when there are none.
mft_ref majority_parent(const entry_stores& stores);
