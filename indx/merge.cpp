#include "indx/merge.h"

#include "indx/entry_decode.h"
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
// directory (entry number `directory`, 0 when it has no live entries).
bool should_replace(const indx_entry& stored, const indx_entry& candidate, uint64_t directory) {
  if (!has_usable_ref(candidate.file_ref)) return false;
  if (directory == 0) return mft_sequence_of(stored.file_ref) == 0 || mft_entry_of(stored.file_ref) == 0;
  return mft_entry_of(stored.parent_ref()) != directory && mft_entry_of(candidate.parent_ref()) == directory;
}

void merge_slack_entry(entry_report& report, const entry_stores& stores, const valid_store* elsewhere,
                       indx_entry& entry, uint64_t directory) {
  const std::string annotation = annotate(entry, stores, elsewhere);
  const auto [stored, added] = report.dedup.emplace(identity_key(entry), entry);
  if (added) {
    stored->second.annotation = annotation;
    entry.annotation = annotation;
  } else if (stored->second.is_valid) {
    entry.annotation =
        annotation.empty() ? annotation_exists : std::string(annotation_exists) + " [" + annotation + "]";
  } else {
    entry.annotation = annotation;
    if (should_replace(stored->second, entry, directory)) {
      stored->second.file_ref = entry.file_ref;
      stored->second.header = entry.header;
      stored->second.offset = entry.offset;
    }
  }
  report.by_time.emplace(entry.modified(), std::move(entry));
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
    report.by_time.emplace(entry.modified(), entry);
    report.dedup.emplace(identity_key(entry), entry);
  }
  for (auto& [parent, entry] : stores.slack) {
    entry.mtime_unconvertible = !vk::filetime_converts(entry.modified());
    if (entry.name.empty()) continue;
    entry.attr_type = attr_type;
    if (mft_sequence_of(entry.file_ref) == 0 && mft_entry_of(entry.file_ref) > max_plausible_entry) entry.file_ref = 0;
    merge_slack_entry(report, stores, live_elsewhere, entry, directory);
  }
  return true;
}
