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
// so it is what ties a stale entry to its record.  24 bytes a name and 8 a
// record; entries past 2^32 are not taken.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ntfs/mft_format.h"
#include "support/types.h"

class mft_names {
 public:
  // Room for the names of this many records, taken before the scan.
  void reserve(uint64_t records);
  // Takes one fixed-up "FILE" record of the scan.
  void take(uint64_t entry, std::span<const uint8_t> record);
  // Orders what was taken; call once after the scan.
  void seal();

  struct record_state {
    bool seen = false;  // a "FILE" record was read for this entry
    bool in_use = false;
    uint16_t sequence = 0;
    uint32_t first_name = 0;  // where its names start among the sorted names
  };
  record_state state_of(uint64_t entry) const;
  // The digest of a name both lookups take: computed once per entry.
  static uint64_t digest(std::string_view name);
  // True when record `entry` (or one of its extension records) holds a
  // $FILE_NAME naming `parent` and the name of `name_digest`.
  bool has_name(uint64_t entry, mft_ref parent, uint64_t name_digest) const;
  // The record holding a $FILE_NAME with this parent, creation time and
  // name, when exactly one does.
  std::optional<uint64_t> only_record_named(mft_ref parent, uint64_t created, uint64_t name_digest) const;
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
  // Parent, creation time and name, hashed into one word: sorting and
  // searching compare one number.
  struct recovery_key {
    uint64_t key = 0;
    uint32_t entry = 0;
    auto operator<=>(const recovery_key&) const = default;
  };

  void take_file_name(uint32_t owner, std::span<const uint8_t> value);

  std::vector<record_state> m_states;
  std::string m_scratch;
  std::vector<name_key> m_names;
  std::vector<recovery_key> m_recovery;
};

