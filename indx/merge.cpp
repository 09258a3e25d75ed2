#include "indx/merge.h"

#include <algorithm>
#include <array>
#include <optional>

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
// Both stores number their entries in the report by now.
const indx_entry* live_entry(const indx_entry& slack, const entry_report& report, const valid_store& own,
                             const valid_store* elsewhere) {
  std::optional<uint32_t> number = own.find(slack.parent_ref(), slack.name, report.entries);
  if (!number && elsewhere != nullptr) number = elsewhere->find(slack.parent_ref(), slack.name, report.entries);
  return number ? &report.entries[*number] : nullptr;
}

std::string annotate(const indx_entry& slack, const entry_report& report, const valid_store& own,
                     const valid_store* elsewhere) {
  const indx_entry* const found = live_entry(slack, report, own, elsewhere);
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

// Orders entries by identity: the four times, then the name compared byte
// by byte after ASCII lower-casing (as the identity key lower-cases it).
// Two entries are of one identity when neither orders before the other.
// The order itself serves only the merge's lookups (the times mostly decide
// it at once); -nodups sorts by the identity key.
int compare_identity(const indx_entry& a, const indx_entry& b) {
  const auto ta = a.times(), tb = b.times();
  if (ta != tb) return ta < tb ? -1 : 1;
  return vk::compare_lowered(a.name, b.name);
}

// Moves the stores' entries to the end of the report's and renumbers the
// live store to match; returns the number the first moved entry got.
uint32_t move_entries_to_report(entry_report& report, entry_stores& stores) {
  SLIX_CHECK(report.entries.size() + stores.entries.size() < UINT32_MAX);
  const auto base = static_cast<uint32_t>(report.entries.size());
  if (base == 0) {
    report.entries.swap(stores.entries);
  } else if (stores.entries.capacity() >= base + stores.entries.size()) {
    // The stores' vector has room for the report's few entries in front of
    // its own: taking it spares a second copy of the many.
    stores.entries.insert(stores.entries.begin(), std::make_move_iterator(report.entries.begin()),
                          std::make_move_iterator(report.entries.end()));
    report.entries.swap(stores.entries);
  } else {
    report.entries.reserve(report.entries.size() + stores.entries.size());
    for (indx_entry& entry : stores.entries) report.entries.push_back(std::move(entry));
  }
  stores.entries.clear();
  stores.valid.renumber(base);
  return base;
}

std::string exists_annotation(const std::string& annotation) {
  return annotation.empty() ? annotation_exists : std::string(annotation_exists) + " [" + annotation + "]";
}

// Takes entry `number` into the identity's slot, or opens the slot.  A live
// entry only opens one.  A slack copy of a live entry is annotated as
// existing; among slack copies the slot keeps the preferred reference.
void take_into_slot(entry_report& report, std::optional<dedup_slot>& slot, uint32_t number, uint64_t directory) {
  indx_entry& entry = report.entries[number];
  if (!slot) {
    slot = dedup_slot{number, number};
    return;
  }
  if (entry.is_valid) return;
  const indx_entry& first = report.entries[slot->first];
  if (first.is_valid) {
    entry.annotation = exists_annotation(entry.annotation);
    return;
  }
  const mft_ref shown_ref = report.entries[slot->reference_from].file_ref;
  if (should_replace(shown_ref, first.parent_ref(), entry, directory)) slot->reference_from = number;
}

// Enters the merged entries (`merged`, live ones first, then the slack, in
// the order of the merge) in the de-duplicated set.  Only entries of one
// identity affect each other, so they are taken identity by identity, each
// identity's entries in merge order, after the slot an earlier merge left.
void deduplicate(entry_report& report, const std::vector<uint32_t>& merged, uint64_t directory) {
  std::vector<uint32_t> grouped = merged;
  const auto entry_less = [&report](uint32_t a, uint32_t b) {
    return compare_identity(report.entries[a], report.entries[b]) < 0;
  };
  std::stable_sort(grouped.begin(), grouped.end(), entry_less);
  const auto slot_less = [&report](const dedup_slot& slot, uint32_t number) {
    return compare_identity(report.entries[slot.first], report.entries[number]) < 0;
  };
  std::vector<dedup_slot> opened;
  for (size_t start = 0, end = 0; start < grouped.size(); start = end) {
    end = start + 1;
    while (end < grouped.size() && !entry_less(grouped[start], grouped[end])) ++end;
    const auto earlier = std::lower_bound(report.dedup.begin(), report.dedup.end(), grouped[start], slot_less);
    const bool found = earlier != report.dedup.end() && !entry_less(grouped[start], earlier->first) &&
                       !entry_less(earlier->first, grouped[start]);
    std::optional<dedup_slot> slot;
    if (found) slot = *earlier;
    for (size_t i = start; i < end; ++i) take_into_slot(report, slot, grouped[i], directory);
    if (found) {
      *earlier = *slot;
    } else {
      opened.push_back(*slot);
    }
  }
  // Both lists are in identity order; so is their union.
  const size_t before = report.dedup.size();
  report.dedup.insert(report.dedup.end(), opened.begin(), opened.end());
  std::inplace_merge(report.dedup.begin(), report.dedup.begin() + static_cast<ptrdiff_t>(before), report.dedup.end(),
                     [&report](const dedup_slot& a, const dedup_slot& b) {
                       return compare_identity(report.entries[a.first], report.entries[b.first]) < 0;
                     });
}

// The report numbers of the slack entries (store numbers + `base`) ordered
// by parent entry number, those of one parent in the order they were found.
std::vector<uint32_t> slack_by_parent(const entry_report& report, std::vector<uint32_t> slack, uint32_t base) {
  for (uint32_t& number : slack) number += base;
  std::stable_sort(slack.begin(), slack.end(), [&report](uint32_t a, uint32_t b) {
    return mft_entry_of(report.entries[a].parent_ref()) < mft_entry_of(report.entries[b].parent_ref());
  });
  return slack;
}

}  // namespace

std::string identity_key(const indx_entry& entry) {
  std::string key;
  key.reserve(entry.name.size() + 4 * 21);
  vk::append_lower(key, entry.name);
  for (const uint64_t time : entry.times()) {
    key += '_';
    vk::append_dec(key, time, identity_time_width);
  }
  return key;
}

bool merge_entries(entry_report& report, entry_stores& stores, entry_source source, uint64_t max_plausible_entry,
                   const valid_store* live_elsewhere) {
  if (stores.empty()) return false;
  stores.seal();
  const uint32_t base = move_entries_to_report(report, stores);
  const uint64_t directory =
      stores.valid.empty() ? 0 : mft_entry_of(report.entries[stores.valid.numbers().front()].parent_ref());
  std::vector<uint32_t> merged;
  merged.reserve(stores.valid.size() + stores.slack.size());
  for (const uint32_t number : stores.valid.numbers()) {
    report.entries[number].source = source;
    merged.push_back(number);
  }
  for (const uint32_t number : slack_by_parent(report, std::move(stores.slack), base)) {
    indx_entry& entry = report.entries[number];
    entry.mtime_unconvertible = !vk::filetime_converts(entry.modified());
    if (entry.name.empty()) continue;
    entry.source = source;
    if (mft_sequence_of(entry.file_ref) == 0 && mft_entry_of(entry.file_ref) > max_plausible_entry) entry.file_ref = 0;
    entry.annotation = annotate(entry, report, stores.valid, live_elsewhere);
    merged.push_back(number);
  }
  stores.slack.clear();
  deduplicate(report, merged, directory);
  report.by_time.insert(report.by_time.end(), merged.begin(), merged.end());
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
  for (const dedup_slot& slot : dedup) {
    indx_entry shown = entries[slot.first];
    const indx_entry& reference = entries[slot.reference_from];
    shown.file_ref = reference.file_ref;
    shown.offset = reference.offset;
    keyed.emplace_back(identity_key(shown), std::move(shown));
  }
  std::sort(keyed.begin(), keyed.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<indx_entry> ordered;
  ordered.reserve(keyed.size());
  for (auto& [key, entry] : keyed) ordered.push_back(std::move(entry));
  return ordered;
}
