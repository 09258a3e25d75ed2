#include "ntfs/directory_tree.h"

#include <algorithm>
#include <map>
#include <unordered_set>
#include <vector>

#include "ntfs/attributes.h"
#include "ntfs/file_name.h"
#include "ntfs/mft_format.h"
#include "ntfs/mft_record.h"
#include "ntfs/ntfs.h"
#include "ntfs/stream_reader.h"
#include "support/check.h"
#include "support/checked_math.h"
#include "support/vk_string.h"

namespace {

// The scan reads the $MFT stream this many bytes at a time (or one cluster
// when clusters are larger), and fixes records up in memory.
constexpr uint64_t scan_chunk_bytes = 1 << 20;
// The status line is refreshed for every record index that is a multiple of this.
constexpr uint64_t status_interval = 37;

void take_file_name(std::span<const uint8_t> attribute, record_summary& summary) {
  const vk::le_reader reader(attribute);
  if (reader.u32(mft_format::attr_type) != mft_format::type_file_name) return;
  file_name_value name;
  if (!read_file_name(resident_value_of(attribute), name)) return;
  file_name_value current{summary.parent_ref, summary.name_space, {}};
  if (summary.has_name && !is_preferred_name(name, current)) return;
  summary.has_name = true;
  summary.parent_ref = name.parent_ref;
  summary.name_space = name.name_space;
  summary.name = std::move(name.name);
}

// The summary of a fixed-up "FILE" record from its own attributes.
record_summary summarize(std::span<const uint8_t> record) {
  const record_header header = read_record_header(record);
  record_summary summary;
  summary.readable = true;
  summary.sequence = header.sequence;
  summary.flags = header.flags;
  for (const auto& attribute : attribute_spans(record)) take_file_name(attribute, summary);
  return summary;
}

// A record's summary, from the cache or read once and cached.  References
// into the cache stay valid as it grows (the map is node-based).
const record_summary& summary_of(CNtfs& volume, uint64_t entry) {
  auto& cache = volume.caches().records;
  if (const auto it = cache.find(entry); it != cache.end()) return it->second;
  record_summary summary;
  byte_array buffer;
  bool bad = false;
  if (volume.fetch_record(buffer, bad, entry) && !bad && has_file_signature(buffer)) {
    summary = summarize(buffer);
    mft_record full;
    // A record with many names may keep them all in extension records.
    if (!summary.has_name && load_mft_record(volume, entry, full)) {
      for (const mft_attribute& attr : full.attributes) take_file_name(attr.bytes, summary);
    }
  }
  return cache.emplace(entry, std::move(summary)).first->second;
}

uint64_t records_to_scan(CNtfs& volume) {
  const uint64_t record = volume.mft_record_size();
  const uint64_t cluster = volume.cluster_size();
  const uint64_t clusters = std::min(total_clusters(volume.mft_runs()), UINT64_MAX / cluster);
  const uint64_t mapped = clusters * cluster / record;
  const uint64_t held = volume.cluster_limit() * cluster / record;
  const uint64_t stated = volume.mft_data_size() / record;
  return std::min({stated == 0 ? mapped : stated, mapped, held});
}

class mft_scan {
 public:
  mft_scan(CNtfs& volume, std::set<uint64_t>& dirs) : m_volume(volume), m_dirs(dirs) {}

  void take(uint64_t entry, std::span<const uint8_t> record) {
    if (!has_file_signature(record)) return;
    const record_header header = read_record_header(record);
    // Only directories, and the extension records that may hold their names,
    // need their names decoded: the files are the great majority.
    if (!header.is_directory() && header.base_ref == 0) return;
    record_summary summary = summarize(record);
    const mft_ref base = header.base_ref;
    if (base != 0 && summary.has_name) {
      file_name_value name{summary.parent_ref, summary.name_space, summary.name};
      const auto [it, added] = m_extension_names.emplace(mft_entry_of(base), name);
      if (!added && is_preferred_name(name, it->second)) it->second = std::move(name);
    }
    if (!summary.is_directory()) return;
    m_dirs.insert(entry);
    volume_caches& caches = m_volume.caches();
    caches.records[entry] = std::move(summary);
    if (caches.directory_record_bytes + record.size() <= directory_record_budget) {
      caches.directory_records.emplace(entry, byte_array(record.begin(), record.end()));
      caches.directory_record_bytes += record.size();
    }
  }

  // Directories whose names live only in extension records get them now
  // that every record has been seen.
  void finish() {
    auto& cache = m_volume.caches().records;
    for (auto& [base, name] : m_extension_names) {
      const auto it = cache.find(base);
      if (it == cache.end() || it->second.has_name) continue;
      it->second.has_name = true;
      it->second.parent_ref = name.parent_ref;
      it->second.name_space = name.name_space;
      it->second.name = std::move(name.name);
    }
    m_volume.caches().scanned = true;
  }

 private:
  CNtfs& m_volume;
  std::set<uint64_t>& m_dirs;
  std::map<uint64_t, file_name_value> m_extension_names;
};

}  // namespace

void scan_mft_records(CNtfs& volume, const mft_record_visitor& visit, const scan_progress& progress) {
  const uint64_t count = records_to_scan(volume);
  const uint64_t record = volume.mft_record_size();
  const uint64_t cluster = volume.cluster_size();
  // A small MFT needs no more buffer than the clusters that hold it.
  const uint64_t mft_bytes = vk::saturating_mul(count, record) / cluster * cluster + cluster;
  const uint64_t chunk_bytes = std::max({std::min(scan_chunk_bytes, mft_bytes), cluster, record});
  const uint64_t per_chunk = chunk_bytes / record;
  byte_array chunk(chunk_bytes);
  byte_array single;
  for (uint64_t first = 0; first < count; first += per_chunk) {
    const uint64_t records = std::min(per_chunk, count - first);
    const uint64_t clusters = (records * record + cluster - 1) / cluster;
    SLIX_CHECK(clusters * cluster <= chunk.size());
    // A chunk that cannot be read whole is taken record by record, so one
    // bad sector loses one record; entries no run maps are not read at all.
    const bool read = read_stream_clusters(volume, volume.mft_runs(), first * record / cluster, clusters,
                                           std::span<uint8_t>(chunk).first(clusters * cluster));
    for (uint64_t i = 0; i < records; ++i) {
      const uint64_t entry = first + i;
      if (entry % status_interval == 0 && progress) progress(entry, count);
      bool bad = false;
      if (read) {
        const auto bytes = std::span<uint8_t>(chunk).subspan(i * record, record);
        if (fix_up_record(bytes, volume.bytes_per_sector()) == record_kind::file) visit(entry, bytes);
      } else if (volume.record_position(entry) && volume.fetch_record(single, bad, entry) && !bad) {
        visit(entry, single);
      }
    }
  }
}

bool list_directories(CNtfs& volume, std::set<uint64_t>& dirs, const scan_progress& progress,
                      const mft_record_visitor& also) {
  dirs.clear();
  mft_scan scan(volume, dirs);
  scan_mft_records(
      volume,
      [&](uint64_t entry, std::span<const uint8_t> record) {
        scan.take(entry, record);
        if (also) also(entry, record);
      },
      progress);
  scan.finish();
  return true;
}

namespace {

// Walks the parent chain up from `entry`; `seen` receives every entry whose
// name the path holds.
std::string walk_to_root(CNtfs& volume, uint64_t entry, std::unordered_set<uint64_t>& seen) {
  std::vector<const std::string*> names;
  bool broken = false;
  for (uint64_t current = entry; current != root_directory_entry;) {
    const record_summary& here = summary_of(volume, current);
    if (!here.readable || !here.has_name || !seen.insert(current).second) {
      broken = true;
      break;
    }
    names.push_back(&here.name);
    const uint64_t parent = mft_entry_of(here.parent_ref);
    const record_summary& up = summary_of(volume, parent);
    if (!up.readable || !up.is_directory() || up.sequence != mft_sequence_of(here.parent_ref)) {
      broken = true;
      break;
    }
    current = parent;
  }
  std::string path = broken ? std::string(corrupted_path_text) + "\\" : "\\";
  for (auto it = names.rbegin(); it != names.rend(); ++it) path += vk::display_name(**it) + "\\";
  return path;
}

}  // namespace

std::string path_of_entry(CNtfs& volume, uint64_t entry, uint16_t& ref_seq, uint16_t& rec_seq) {
  return entry_paths(volume).path_of(entry, ref_seq, rec_seq);
}

// The walk up from `entry` would take its name, step to the entry built last
// and go on as that walk went: `entry` has a name, the link to its parent
// holds, and the last path does not pass through `entry` (no loop closes
// there, which would end the walk elsewhere).
bool entry_paths::extends_last_path(uint64_t entry) const {
  const record_summary& self = summary_of(m_volume, entry);
  if (!m_have_last || entry == root_directory_entry || !self.readable || !self.has_name) return false;
  if (mft_entry_of(self.parent_ref) != m_last_entry || m_last_chain.count(entry) != 0) return false;
  const record_summary& up = summary_of(m_volume, m_last_entry);
  return up.readable && up.is_directory() && up.sequence == mft_sequence_of(self.parent_ref);
}

std::string entry_paths::path_of(uint64_t entry, uint16_t& ref_seq, uint16_t& rec_seq) {
  const record_summary& self = summary_of(m_volume, entry);
  ref_seq = rec_seq = self.sequence;
  if (extends_last_path(entry)) {
    m_last_path += vk::display_name(self.name) + "\\";
    m_last_chain.insert(entry);
  } else {
    m_last_chain.clear();
    m_last_path = walk_to_root(m_volume, entry, m_last_chain);
  }
  m_have_last = true;
  m_last_entry = entry;
  return m_last_path;
}

const record_summary& record_summary_of(CNtfs& volume, uint64_t entry) { return summary_of(volume, entry); }

bool record_sequence(CNtfs& volume, uint64_t entry, uint16_t& seq) {
  const record_summary& summary = summary_of(volume, entry);
  seq = summary.sequence;
  return summary.readable;
}
