#include "indx/merge.h"

#include <algorithm>

#include "indx/entry_decode.h"
#include "support/check.h"
#include "support/types.h"
#include "support/vk_string.h"
#include "support/vk_time.h"

namespace {

// Zero-filled width of the times in an identity key; a real FILETIME has
// more digits, so the fill never shows.
constexpr int identity_time_width = 10;

const char* const annotation_deleted = "deleted";
const char* const annotation_duplicate = "dup slack entry";
const char* const annotation_modified = "modified";
const char* const annotation_exists = "exists";
const char* const unchanged_times = "....";

// One mark per time, in the order modified, accessed, MFT-changed, created:
// "." when the slack copy keeps the live entry's time, else the time's letter.
std::string time_marks(const indx_entry& slack, const indx_entry& live) {
  std::string marks;
  marks += slack.modified() == live.modified() ? '.' : 'm';
  marks += slack.accessed() == live.accessed() ? '.' : 'a';
  marks += slack.mft_changed() == live.mft_changed() ? '.' : 'c';
  marks += slack.created() == live.created() ? '.' : 'b';
  return marks;
}

// The live entry of the same parent and name: in this attribute's store, or
// in the live entries of the directory's other index attribute (a name can
// live in the index root while a stale copy of it sits in an INDX record).
const indx_entry* live_entry(const indx_entry& slack, const entry_stores& stores, const valid_store* elsewhere) {
  const std::string key = valid_store_key(slack.parent_ref(), slack.name);
  if (const auto it = stores.valid.find(key); it != stores.valid.end()) return &it->second;
  if (elsewhere == nullptr) return nullptr;
  const auto it = elsewhere->find(key);
  return it == elsewhere->end() ? nullptr : &it->second;
}

std::string annotate(const indx_entry& slack, const entry_stores& stores, const valid_store* elsewhere) {
  const indx_entry* const found = live_entry(slack, stores, elsewhere);
  if (found == nullptr) return annotation_deleted;
  const indx_entry& live = *found;
  const std::string marks = time_marks(slack, live);
  const bool size_differs = slack.real_size() != live.real_size();
  const bool name_differs = slack.name != live.name;
  const bool times_differ = marks != unchanged_times;
  std::string annotation = times_differ || size_differs || name_differs ? annotation_modified : annotation_duplicate;
  if (times_differ) annotation += " [" + marks + "]";
  if (size_differs) annotation += " [size]";
  if (name_differs) annotation += " [name]";
  return annotation;
}

bool has_usable_ref(mft_ref ref) { return mft_sequence_of(ref) != 0 && mft_entry_of(ref) != 0; }

// Among slack copies of one name and set of times, the de-duplicated set
// keeps the one whose file reference is usable and that belongs to this
// directory (entry number `directory`, 0 when it has no live entries).  The
// kept copy shows `stored_ref` and belongs to `stored_parent`.
bool should_replace(mft_ref stored_ref, mft_ref stored_parent, const indx_entry& candidate, uint64_t directory) {
  if (!has_usable_ref(candidate.file_ref)) return false;
  if (directory == 0) return mft_sequence_of(stored_ref) == 0 || mft_entry_of(stored_ref) == 0;
  return mft_entry_of(stored_parent) != directory && mft_entry_of(candidate.parent_ref()) == directory;
}

entry_identity identity_of(const indx_entry& entry) {
  return {vk::to_lower(entry.name), {entry.modified(), entry.accessed(), entry.mft_changed(), entry.created()}};
}

uint32_t next_number(const entry_report& report) {
  SLIX_CHECK(report.entries.size() < UINT32_MAX);
  return static_cast<uint32_t>(report.entries.size());
}

void add_to_report(entry_report& report, indx_entry&& entry) {
  report.by_time.push_back(next_number(report));
  report.entries.push_back(std::move(entry));
}

void merge_slack_entry(entry_report& report, const entry_stores& stores, const valid_store* elsewhere,
                       indx_entry&& entry, uint64_t directory) {
  std::string annotation = annotate(entry, stores, elsewhere);
  const uint32_t number = next_number(report);
  const auto [slot, added] = report.dedup.try_emplace(identity_of(entry), dedup_slot{number, number});
  if (added) {
    entry.annotation = std::move(annotation);
    add_to_report(report, std::move(entry));
    return;
  }
  const indx_entry& first = report.entries[slot->second.first];
  if (first.is_valid) {
    entry.annotation =
        annotation.empty() ? annotation_exists : std::string(annotation_exists) + " [" + annotation + "]";
  } else {
    entry.annotation = std::move(annotation);
    const mft_ref shown_ref = report.entries[slot->second.reference_from].file_ref;
    if (should_replace(shown_ref, first.parent_ref(), entry, directory)) slot->second.reference_from = number;
  }
  add_to_report(report, std::move(entry));
}

}  // namespace

std::string identity_key(const indx_entry& entry) {
  std::string key;
  key.reserve(entry.name.size() + 4 * 21);
  vk::append_lower(key, entry.name);
  for (const uint64_t time : {entry.modified(), entry.accessed(), entry.mft_changed(), entry.created()}) {
    key += '_';
    vk::append_dec(key, time, identity_time_width);
  }
  return key;
}

bool merge_entries(entry_report& report, entry_stores& stores, uint32_t attr_type, uint64_t max_plausible_entry,
                   const valid_store* live_elsewhere) {
  if (stores.empty()) return false;
  const uint64_t directory = stores.valid.empty() ? 0 : mft_entry_of(stores.valid.begin()->second.parent_ref());
  for (auto& [key, entry] : stores.valid) {
    entry.attr_type = attr_type;
    const uint32_t number = next_number(report);
    report.dedup.try_emplace(identity_of(entry), dedup_slot{number, number});
    add_to_report(report, indx_entry(entry));
  }
  for (auto& [parent, entry] : stores.slack) {
    entry.mtime_unconvertible = !vk::filetime_converts(entry.modified());
    if (entry.name.empty()) continue;
    entry.attr_type = attr_type;
    if (mft_sequence_of(entry.file_ref) == 0 && mft_entry_of(entry.file_ref) > max_plausible_entry) entry.file_ref = 0;
    merge_slack_entry(report, stores, live_elsewhere, std::move(entry), directory);
  }
  // A stable sort of the whole list: entries of an earlier merge come first
  // among equal times, as do earlier entries of this one.
  std::stable_sort(report.by_time.begin(), report.by_time.end(), [&report](uint32_t a, uint32_t b) {
    return report.entries[a].modified() < report.entries[b].modified();
  });
  return true;
}

std::vector<indx_entry> entry_report::deduplicated() const {
  std::vector<std::pair<std::string, indx_entry>> keyed;
  keyed.reserve(dedup.size());
  for (const auto& [identity, slot] : dedup) {
    indx_entry shown = entries[slot.first];
    const indx_entry& reference = entries[slot.reference_from];
    shown.file_ref = reference.file_ref;
    shown.header = reference.header;
    shown.offset = reference.offset;
    keyed.emplace_back(identity_key(shown), std::move(shown));
  }
  std::sort(keyed.begin(), keyed.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<indx_entry> ordered;
  ordered.reserve(keyed.size());
  for (auto& [key, entry] : keyed) ordered.push_back(std::move(entry));
  return ordered;
}
