#include "indx/slack_carver.h"

#include <array>
#include <iterator>
#include <optional>
#include <string_view>
#include <vector>

#include "indx/entry_decode.h"
#include "indx/indx_format.h"
#include "support/check.h"
#include "support/vk_string.h"
#include "support/vk_time.h"

namespace {

namespace fmt = indx_format;

// Entries start on 8-byte boundaries and every reference and FILETIME of a
// key sits on one too, so both detectors look at aligned u64 values only.
constexpr uint64_t scan_step = 8;

// The four FILETIMEs of a key follow each other; once one is seen, the next
// three belong to the same key and must not start candidates of their own.
constexpr uint64_t time_hit_skip = 32;

// The timestamp window.  NTFS is younger than 1986, and 2100 lies far enough
// ahead that the window will not start refusing real entries during the
// working life of any evidence.  Both ends are calendar dates, not tick
// counts, so that they read the same as the dates they stand for.
constexpr std::string_view earliest_plausible_date = "01/01/1986";
constexpr std::string_view latest_plausible_date = "01/01/2100";

// A parent-reference hit must leave room for the 16-byte entry head before it
// and for 58 bytes of key from it on: the times, the sizes and part of the
// attribute flags.
constexpr uint64_t parent_hit_min = fmt::ent_key;
constexpr uint64_t parent_hit_room = 58;

// A timestamp hit taken as the created time needs the 24 bytes of head and
// parent reference before it and its own four times after it.
constexpr uint64_t created_time_position = fmt::key_field(fnf::created);  // 24
constexpr uint64_t time_hit_room = 4 * sizeof(uint64_t);

// The positions a timestamp hit may hold in an entry, tried in this order:
// created, modified, MFT-changed, accessed.
constexpr std::array<uint64_t, 4> time_positions = {fmt::key_field(fnf::created), fmt::key_field(fnf::modified),
                                                    fmt::key_field(fnf::mft_changed),
                                                    fmt::key_field(fnf::accessed)};

// Two candidates closer than the smallest entry (head and key without a name)
// cannot both be entries; the overlap rules use this span.
constexpr uint64_t candidate_span = fmt::entry_min_size;

// A candidate is emitted only when its head, the key's fixed part and the
// first name unit (84 bytes) lie inside the slack.
constexpr uint64_t min_emitted_room = fmt::entry_min_size + 2;

// Names over 64 units are rejected although the format allows 255: long names
// are rare, and the limit keeps runs of random bytes from passing as entries.
constexpr uint8_t max_carved_name_units = 64;
constexpr uint8_t max_name_space = 3;  // 0 POSIX ... 3 Win32+DOS

constexpr std::string_view name_trim_chars = " \t\r\n";

uint64_t date_bound(std::string_view mdy) {
  const std::optional<uint64_t> filetime = vk::parse_mdy_date(mdy);
  SLIX_CHECK(filetime.has_value());
  return filetime.value_or(0);
}

bool in_time_window(uint64_t value) {
  static const uint64_t lo = date_bound(earliest_plausible_date);
  static const uint64_t hi = date_bound(latest_plausible_date);
  return lo <= value && value <= hi;
}

bool is_terminating_entry(const vk::le_reader& entry) {
  return entry.u64(fmt::ent_file_ref) == 0 && entry.u16(fmt::ent_length) == fmt::ent_head_size &&
         entry.u16(fmt::ent_key_length) == 0 && entry.u16(fmt::ent_flags) == fmt::entry_flag_last;
}

// Where the parent-reference hit at slack offset h puts its entry; nothing
// when the entry would not fit or is not plausible.
std::optional<uint64_t> entry_start_for_parent_hit(const vk::le_reader& slack, uint64_t h) {
  if (h < parent_hit_min || h + parent_hit_room > slack.size()) return std::nullopt;
  const uint64_t q = h - parent_hit_min;
  if (!is_plausible_entry(slack.from(q))) return std::nullopt;
  return q;
}

// Chooses the entry start for a timestamp hit at slack offset h; nothing
// when no reading of the hit gives a plausible entry.
std::optional<uint64_t> entry_start_for_time_hit(const vk::le_reader& slack, uint64_t h) {
  const uint64_t m = slack.size();
  if (h < created_time_position || h + time_hit_room > m) return std::nullopt;
  // A plausible time 24 bytes on fits h being the created time with the
  // access time in place; the entry is then taken without further checks.
  // "Plausible" is the detector's own window: any value in (0, 2^63) is a
  // calendar time, and small neighbours such as a size of 4096 (a time in
  // 1601) would let garbage in unvalidated.
  const uint64_t access_if_created = slack.u64(h + fnf::accessed - fnf::created);
  if (in_time_window(access_if_created)) return h - created_time_position;
  for (const uint64_t position : time_positions) {
    if (h < position) break;
    if (is_plausible_entry(slack.from(h - position))) return h - position;
  }
  return std::nullopt;
}

// Both detectors in one pass over the aligned words: the directory's own
// reference (the first field of every key that names a file of this
// directory) and plausible timestamps.  The timestamp detector skips the
// rest of a key after each hit, whatever the hit gives.  Parent hits are
// offered to the candidate set before timestamp hits, because the overlap
// rules favour whichever candidate came first.
void find_candidates(std::set<uint64_t>& candidates, mft_ref directory_ref, const vk::le_reader& slack) {
  const bool look_for_parent = mft_entry_of(directory_ref) != 0;
  std::vector<uint64_t> time_starts;
  uint64_t next_time_word = 0;
  for (uint64_t h = 0; h + scan_step <= slack.size(); h += scan_step) {
    const uint64_t word = slack.u64(h);
    if (look_for_parent && word == directory_ref) {
      if (const std::optional<uint64_t> q = entry_start_for_parent_hit(slack, h)) insert_candidate(candidates, *q);
    }
    if (h < next_time_word || !in_time_window(word)) continue;
    if (const std::optional<uint64_t> q = entry_start_for_time_hit(slack, h)) time_starts.push_back(*q);
    next_time_word = h + time_hit_skip;
  }
  for (const uint64_t q : time_starts) insert_candidate(candidates, q);
}

// Turns candidate q into a slack entry; nothing when the entry does not fit
// in the slack or its name is blank.
std::optional<indx_entry> carve_entry(const vk::le_reader& slack, uint64_t q, source_offset slack_offset) {
  const uint64_t m = slack.size();
  if (q > m || m - q < min_emitted_room) return std::nullopt;
  const vk::le_reader at = slack.from(q);
  const uint8_t units = at.u8(fmt::key_field(fnf::name_length));
  if (fmt::entry_span(units) > m - q) return std::nullopt;
  indx_entry carved = decode_entry_fields(at);
  carved.is_valid = false;
  carved.offset = slack_offset + q;
  carved.name = decode_entry_name(at, units);
  vk::trim_in_place(carved.name, name_trim_chars);
  if (carved.name.empty()) return std::nullopt;
  return carved;
}

}  // namespace

bool is_plausible_entry(const vk::le_reader& entry) {
  if (is_terminating_entry(entry)) return true;
  const uint16_t length = entry.u16(fmt::ent_length);
  const uint16_t key_length = entry.u16(fmt::ent_key_length);
  const uint16_t flags = entry.u16(fmt::ent_flags);
  if (flags > fmt::entry_flag_last || key_length == 0 || length == 0 || key_length > length) return false;
  const uint8_t units = entry.u8(fmt::key_field(fnf::name_length));
  if (entry.u16(fmt::ent_reserved) != 0 || entry.u8(fmt::key_field(fnf::name_space)) > max_name_space) return false;
  if (units < 1 || units > max_carved_name_units) return false;
  return entry.u64(fmt::key_field(fnf::alloc_size)) >= entry.u64(fmt::key_field(fnf::real_size));
}

bool insert_candidate(std::set<uint64_t>& candidates, uint64_t q) {
  const auto next = candidates.lower_bound(q);
  if (next == candidates.end()) return candidates.insert(q).second;
  if (*next == q) return false;
  // Inside the smallest extent of the candidate before it: refused.
  if (next != candidates.begin() && q <= *std::prev(next) + candidate_span) return false;
  // Its own smallest extent must end at or before the next candidate.
  if (q + candidate_span > *next) return false;
  candidates.insert(next, q);
  return true;
}

void carve_node_slack(entry_stores& stores, mft_ref directory_ref, const vk::le_reader& slack_view,
                      source_offset slack_offset) {
  const vk::le_reader slack(slack_view.bytes());
  std::set<uint64_t> candidates;
  find_candidates(candidates, directory_ref, slack);
  for (const uint64_t q : candidates) {
    std::optional<indx_entry> carved = carve_entry(slack, q, slack_offset);
    if (!carved) continue;
    stores.add_slack(std::move(*carved));
  }
}
