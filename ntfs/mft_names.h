// Every name the MFT holds, for telling what became of the file behind an
// index entry (-mftstate).
//
// One pass over the MFT records every record's header (in use or not, its
// sequence number) and every $FILE_NAME it holds, including those in its
// extension records: a file with hard links, or with a long and a DOS name,
// has several, and an entry may name any of them.  Names are kept as hashes
// of (parent reference, name) per record, and once more in a flat sorted
// vector keyed by (parent reference, creation time, name hash) to find the
// record an entry names when the entry's own reference was overwritten.
// The creation time is the one time NTFS does not update in index entries,
// so it is what ties a stale entry to its record.  32 bytes a name and 4 a
// record; entries past 2^32 are not taken.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "ntfs/mft_format.h"
#include "support/types.h"

class mft_names {
 public:
  // Takes one fixed-up "FILE" record of the scan.
  void take(uint64_t entry, std::span<const uint8_t> record);
  // Orders what was taken; call once after the scan.
  void seal();

  struct record_state {
    bool seen = false;  // a "FILE" record was read for this entry
    bool in_use = false;
    uint16_t sequence = 0;
  };
  record_state state_of(uint64_t entry) const;
  // True when record `entry` (or one of its extension records) holds a
  // $FILE_NAME naming `parent` and `name`.
  bool has_name(uint64_t entry, mft_ref parent, std::string_view name) const;
  // The records holding a $FILE_NAME with this parent, creation time and
  // name, each once, in entry order.
  std::vector<uint64_t> records_named(mft_ref parent, uint64_t created, std::string_view name) const;
  // Entries the records cover (one past the highest seen).
  uint64_t record_count() const { return m_states.size(); }

 private:
  // 8 and 24 bytes: a whole-volume MFT of a million names stays near
  // 32 MB, and a common one (some hundred thousand) under 16.
  struct name_key {
    uint32_t entry = 0;
    uint32_t hash = 0;  // of parent and name
    auto operator<=>(const name_key&) const = default;
  };
  struct recovery_key {
    mft_ref parent = 0;
    uint64_t created = 0;
    uint32_t name_hash = 0;
    uint32_t entry = 0;
    auto operator<=>(const recovery_key&) const = default;
  };

  std::vector<record_state> m_states;
  std::vector<name_key> m_names;
  std::vector<recovery_key> m_recovery;
};

// The hashes both sides of a comparison use.
uint32_t name_hash(std::string_view name);
uint32_t parent_name_hash(mft_ref parent, std::string_view name);
