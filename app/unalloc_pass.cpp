#include "app/unalloc_pass.h"

#include <algorithm>
#include <utility>

#include "app/report_entries.h"
#include "indx/merge.h"
#include "ntfs/directory_tree.h"
#include "ntfs/mft_format.h"
#include "ntfs/ntfs.h"
#include "ntfs/volume_caches.h"
#include "support/message.h"
#include "support/vk_string.h"

namespace {

// Records held before their groups are written: past this the groups found
// so far are written, so memory stays bounded on a volume of nothing but
// INDX signatures (a group may then be reported in more than one part).
constexpr uint64_t held_bytes_limit = uint64_t{8} << 20;
// A chain of parents this long is a loop, not a real path.
constexpr int max_path_depth = 64;

const char* rule_words(int rule) {
  static const char* const words[] = {" [path: mft record]", " [path: index entry]", " [path: orphan]"};
  return words[rule];
}

bool in_use(const record_summary& summary) { return (summary.flags & mft_format::rec_flag_in_use) != 0; }

}  // namespace

void unalloc_pass::note_links(const std::vector<indx_entry>& entries) {
  for (const indx_entry& entry : entries) {
    if (!entry.is_dir || entry.file_ref == 0 || entry.name.empty()) continue;
    auto [it, added] = m_links.try_emplace(entry.file_ref, name_link{entry.parent_ref(), entry.name});
    // A live entry is the better witness of a directory's name.
    if (!added && entry.is_valid) it->second = name_link{entry.parent_ref(), entry.name};
  }
}

void unalloc_pass::note_directory(const dir_work_item& item, const directory_index& index) {
  for (const auto& [first, count] : index.allocation_clusters) m_read_allocations.add(first, count);
  note_links(index.report.entries);
  const bool selection = m_options.target_mft || !m_options.target_path.empty();
  if (selection && item.level == 0) m_starts.push_back(item);
}

bool unalloc_pass::record_names_directory(mft_ref directory) {
  const record_summary& summary = record_summary_of(m_volume, mft_entry_of(directory));
  const uint16_t sequence = mft_sequence_of(directory);
  return summary.readable && summary.is_directory() &&
         (summary.sequence == sequence ||
          (!in_use(summary) && summary.sequence == static_cast<uint16_t>(sequence + 1)));
}

std::optional<mft_ref> unalloc_pass::parent_of(mft_ref directory) {
  if (record_names_directory(directory)) {
    const record_summary& summary = record_summary_of(m_volume, mft_entry_of(directory));
    if (summary.has_name) return summary.parent_ref;
  }
  const auto link = m_links.find(directory);
  if (link == m_links.end()) return std::nullopt;
  return link->second.parent;
}

// With -mft or -path, a group is written when its directory is a start
// directory or lies under one within -level.
bool unalloc_pass::is_selected(mft_ref directory) {
  if (!m_options.target_mft && m_options.target_path.empty()) return true;
  std::optional<mft_ref> current = directory;
  const uint64_t levels = std::min<uint64_t>(m_options.level, max_path_depth);
  for (uint64_t depth = 0; current && depth <= levels; ++depth) {
    for (const dir_work_item& start : m_starts)
      if (start.entry == mft_entry_of(*current)) return true;
    if (mft_entry_of(*current) == root_directory_entry) return false;
    current = parent_of(*current);
  }
  return false;
}

// Each step up takes the directory's name and parent from its MFT record
// when the record still names it, else from an index entry that names it;
// the parent's path is found by the same rules, so a deleted directory
// inside another deleted one still gets its whole path.
unalloc_pass::group_path unalloc_pass::path_of(mft_ref directory, int depth) {
  if (mft_entry_of(directory) == root_directory_entry && record_names_directory(directory))
    return {"\\", path_rule::mft_record};
  const record_summary& summary = record_summary_of(m_volume, mft_entry_of(directory));
  if (depth < max_path_depth && record_names_directory(directory) && summary.has_name) {
    const std::string name = summary.name;
    return {path_of(summary.parent_ref, depth + 1).path + vk::display_name(name) + "\\", path_rule::mft_record};
  }
  const auto link = m_links.find(directory);
  if (link != m_links.end() && depth < max_path_depth) {
    const name_link named = link->second;
    return {path_of(named.parent, depth + 1).path + vk::display_name(named.name) + "\\", path_rule::index_entry};
  }
  return {"\\$Orphan\\" + std::to_string(mft_entry_of(directory)) + "-" + std::to_string(mft_sequence_of(directory)) +
              "\\",
          path_rule::orphan};
}

void unalloc_pass::take_record(found_index_record&& record) {
  entry_stores entries;
  parse_found_record(record, entries);
  if (entries.slack.empty()) return;
  note_links(entries.entries);
  m_held_bytes += record.bytes.size();
  m_groups[majority_parent(entries)].push_back(std::move(record));
}

void unalloc_pass::write_group(mft_ref directory, std::vector<found_index_record>& records, report_output& output) {
  if (!is_selected(directory)) return;
  entry_stores stores;
  kept_records kept;
  for (const found_index_record& record : records) {
    parse_found_record(record, stores);
    kept.keep(record.volume_offset, record.bytes);
  }
  const group_path where = path_of(directory, 0);
  // A directory that still exists lends its live entries to the merge.
  directory_index live;
  const record_summary& summary = record_summary_of(m_volume, mft_entry_of(directory));
  if (summary.readable && in_use(summary) && summary.is_directory() && summary.sequence == mft_sequence_of(directory)) {
    indx_options plain = m_options;
    plain.raw_dump = plain.unalloc = false;
    analyse_directory(m_volume, plain, mft_entry_of(directory), summary.sequence, live);
  }
  merge_entries(live.report, stores, entry_source::unallocated, m_options.max_plausible_entry, &live.stores.valid);
  for (indx_entry& entry : live.report.entries)
    if (entry.source == entry_source::unallocated) entry.annotation += rule_words(static_cast<int>(where.rule));
  entry_writer& writer = output.writer();
  writer.set_directory(where.path);
  write_selected_entries(live.report, m_options, writer, source_buffers{.carved = &kept}, entry_source::unallocated);
}

void unalloc_pass::write_groups(report_output& output) {
  for (auto& [directory, records] : m_groups) {
    if (output.failed()) break;
    write_group(directory, records, output);
  }
  m_groups.clear();
  m_held_bytes = 0;
}

void unalloc_pass::run(report_output& output) {
  m_read_allocations.seal();
  vk::status_line::show("scanning free space: 0%");
  uint64_t shown = 0;
  free_space_scan scan;
  scan.skipped = &m_read_allocations;
  scan.found = [&](found_index_record&& record) {
    take_record(std::move(record));
    if (m_held_bytes > held_bytes_limit) write_groups(output);
  };
  scan.progress = [&shown](uint64_t done, uint64_t total) {
    const uint64_t percent = total == 0 ? 100 : done * 100 / total;
    if (percent == shown) return;
    shown = percent;
    vk::status_line::show("scanning free space: " + std::to_string(percent) + "%");
  };
  const free_space_result result = scan_free_space(m_volume, scan);
  if (!result.bitmap_read)
    vk::print_message("warning: the volume's $Bitmap cannot be read; the whole volume was searched for index records\n");
  write_groups(output);
}
