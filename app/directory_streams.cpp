#include "app/directory_streams.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "indx/indx_format.h"
#include "indx/merge.h"
#include "indx/node_parser.h"
#include "indx/slack_carver.h"
#include "ntfs/attributes.h"
#include "ntfs/mft_format.h"
#include "ntfs/mft_record.h"
#include "ntfs/multi_sector.h"
#include "ntfs/ntfs.h"
#include "ntfs/stream_reader.h"
#include "support/checked_math.h"
#include "support/file_util.h"
#include "support/message.h"
#include "support/vk_string.h"

namespace {

constexpr const char* index_name = "$I30";

// The allocation is read this many clusters at a time.
constexpr uint64_t chunk_clusters = 32;

// No real directory index comes near this size (a million names take some
// 200 MiB); a damaged runlist claiming more must not make the whole volume
// land in memory.
constexpr uint64_t max_index_stream_bytes = uint64_t{1} << 30;
constexpr uint64_t reservation_limit = uint64_t{16} << 20;

// The index root value opens with a 16-byte root header (indexed attribute
// type, collation rule, index record size, clusters per index record); the
// index node header follows it.
constexpr size_t root_header_size = 16;
// The smallest $INDEX_ROOT attribute worth parsing: a resident header, the
// root header and a node header with a terminating entry.
constexpr size_t root_attribute_min = 72;

// The dump of a directory is named after its path ("\\dir\\sub" gives
// "dir.sub"), in the current folder only.  A name on the volume may hold any
// character but the backslash, so whatever could lead the file out of the
// folder or hide it is written as %xx: "/", a leading ".", the dots of "..",
// control characters, and "%" itself so that the escape reads back.
std::string dump_file_name(const std::string& base_name, const char* suffix) {
  std::string plain = vk::replace_all(base_name, "\\", ".");
  plain = vk::replace_all(plain, ",", ".");
  plain = vk::replace_all(plain, ":", ".");
  plain = vk::replace_all(plain, " ", "_");
  std::string name;
  for (size_t i = 0; i < plain.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(plain[i]);
    const bool in_dot_run = c == '.' && (i == 0 || plain[i - 1] == '.' || (i + 1 < plain.size() && plain[i + 1] == '.'));
    if (c == '/' || c == '%' || c < 0x20 || c == 0x7f || in_dot_run) {
      constexpr char hex[] = "0123456789abcdef";
      name += {'%', hex[c >> 4], hex[c & 15]};
    } else {
      name += static_cast<char>(c);
    }
  }
  return name + suffix;
}

// A raw copy of one index stream, written as it is read.  A file that
// receives nothing is removed again.
class raw_dump {
 public:
  raw_dump(const indx_options& options, const char* suffix) {
    if (!options.raw_dump) return;
    m_name = dump_file_name(options.dump_base_name, suffix);
    open_dump();
  }
  ~raw_dump() {
    if (!m_fd.valid()) return;
    m_fd.reset();
    if (m_written == 0 && ::unlink(m_name.c_str()) == 0)
      vk::print_message("deleted: %s\n", vk::escape_controls(m_name).c_str());
  }
  raw_dump(const raw_dump&) = delete;
  raw_dump& operator=(const raw_dump&) = delete;

  void append(std::span<const uint8_t> bytes) {
    for (size_t done = 0; m_fd.valid() && done < bytes.size();) {
      const ssize_t n = ::write(m_fd.get(), bytes.data() + done, bytes.size() - done);
      if (n <= 0) return;
      done += static_cast<size_t>(n);
      m_written += static_cast<size_t>(n);
    }
  }

 private:
  // Opened without following a symbolic link and without truncating; only a
  // regular file that is none of the sources is then emptied.  A FIFO placed
  // under the name does not block the run (O_NONBLOCK).
  void open_dump() {
    vk::unique_fd fd(::open(m_name.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0644));
    const char* reason = nullptr;
    struct stat info {};
    if (!fd.valid()) {
      reason = std::strerror(errno);
    } else if (::fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode)) {
      reason = "not a regular file";
    } else if (const auto identity = vk::identity_of_fd(fd.get()); identity && vk::is_source_file(*identity)) {
      reason = "it is one of the sources being analysed";
    } else if (::ftruncate(fd.get(), 0) != 0) {
      reason = std::strerror(errno);
    }
    if (reason == nullptr) {
      m_fd = std::move(fd);
      return;
    }
    vk::print_message("failed: raw dump %s not written: %s\n", vk::escape_controls(m_name).c_str(), reason);
  }

  std::string m_name;
  vk::unique_fd m_fd;
  size_t m_written = 0;
};

// Offsets of the root count from its node header, those of the allocation
// from the stream's first byte.
constexpr source_offset root_node_start{offset_frame::index_root_node, 0};
constexpr source_offset stream_start{offset_frame::allocation_stream, 0};

// The $I30 index's $BITMAP: one bit per INDX record of the allocation, set
// while the record is in use.  When NTFS empties and releases a node it
// clears the bit and leaves the record's bytes as they were, so a released
// record can look like a node full of live entries.  A bitmap that is
// missing or cannot be read, and records past its end, change nothing.
class record_bitmap {
 public:
  record_bitmap() = default;
  record_bitmap(byte_array bits, uint64_t record_size) : m_bits(std::move(bits)), m_record_size(record_size) {}

  bool in_use(uint64_t stream_offset) const {
    if (m_record_size == 0) return true;
    const uint64_t record = stream_offset / m_record_size;
    if (record / 8 >= m_bits.size()) return true;
    return (m_bits[record / 8] >> (record % 8) & 1) != 0;
  }

 private:
  byte_array m_bits;
  uint64_t m_record_size = 0;
};

// What one pass over a directory's index streams needs.
struct index_pass {
  CNtfs& volume;
  mft_ref directory_ref;
  bool carve_slack;
  entry_stores& stores;
  record_bitmap bitmap;
};

record_bitmap bitmap_of(CNtfs& volume, const mft_record& record) {
  const mft_attribute* bitmap = find_attribute(record.attributes, mft_format::type_bitmap, index_name);
  const uint64_t record_size = volume.index_record_size();
  if (bitmap == nullptr) return {};
  return record_bitmap(attribute_value(volume, *bitmap, max_index_stream_bytes / record_size / 8 + 8), record_size);
}

// Parses one INDX record of the allocation; the entries of a record the
// index has released are all slack.
void parse_index_record(index_pass& pass, const vk::le_reader& node, uint64_t record_offset) {
  const source_offset node_offset = stream_start + (record_offset + indx_format::rec_node_header);
  if (pass.bitmap.in_use(record_offset)) {
    parse_index_node(pass.stores, pass.directory_ref, node, node_offset, pass.carve_slack);
    return;
  }
  entry_stores released;
  parse_index_node(released, pass.directory_ref, node, node_offset, pass.carve_slack);
  pass.stores.take_as_slack(released);
}

void fix_up_index_records(std::span<uint8_t> chunk, size_t record_size, size_t sector_size) {
  for (size_t p = 0; record_size <= chunk.size() - p; p += record_size) {
    const auto record = chunk.subspan(p, record_size);
    if (record_signature(record) != multi_sector_format::signature_indx) continue;
    apply_fixup(record, fixup_stride(record_size, update_sequence_count(record), sector_size));
  }
}

// No entry, live or carved, takes less than its smallest size of the
// stream, so the stream's size bounds the number of entries it holds.
// Reserving for that many (and for the report's entries, which the merge
// puts in front) keeps the vector from growing by copies, and the stream
// buffer likewise; room never written to costs no memory.  Streams past
// reservation_limit (a directory of some hundred thousand files, or runs
// that only claim to be that long) grow as they are read.
void reserve_for_allocation(CNtfs& volume, const data_run_list& runs, const entry_report& report,
                            entry_stores& stores, byte_array& alloc) {
  const uint64_t bytes =
      std::min({vk::saturating_mul(total_clusters(runs), volume.cluster_size()), reservation_limit});
  stores.entries.reserve(report.entries.size() + bytes / indx_format::entry_min_size + 1);
  alloc.reserve(bytes);
}

// Reads the allocation in chunks of clusters into `alloc` and parses every
// record of every chunk read.  An unreadable chunk stays zero in `alloc`, so
// later records keep their stream positions; a chunk shorter than one
// record ends the reading.
void parse_allocation(index_pass& pass, const data_run_list& runs, byte_array& alloc, raw_dump& dump) {
  const uint64_t cluster = pass.volume.cluster_size();
  const uint64_t record = pass.volume.index_record_size();
  const uint64_t total = std::min({total_clusters(runs), pass.volume.cluster_limit(), max_index_stream_bytes / cluster});
  for (uint64_t vcn = 0; vcn < total; vcn += chunk_clusters) {
    const uint64_t clusters = std::min(chunk_clusters, total - vcn);
    const uint64_t base = vcn * cluster;
    alloc.resize(base + clusters * cluster);
    const auto chunk = std::span<uint8_t>(alloc).subspan(base, clusters * cluster);
    if (!read_stream_clusters(pass.volume, runs, vcn, clusters, chunk)) {
      std::fill(chunk.begin(), chunk.end(), 0);
      continue;
    }
    // The dump holds the records as the parser sees them: fixed up.
    if (chunk.size() >= record) fix_up_index_records(chunk, record, pass.volume.bytes_per_sector());
    dump.append(chunk);
    if (chunk.size() < record) break;
    const vk::le_reader bytes(chunk);
    for (uint64_t p = 0; record <= chunk.size() - p; p += record)
      parse_index_record(pass, bytes.sub(p + indx_format::rec_node_header, record - indx_format::rec_node_header), base + p);
  }
}

// The root's node runs from its node header to the end of the attribute;
// entry offsets count from that node header.
bool parse_root(index_pass& pass, const mft_attribute& attribute, byte_array& root, raw_dump& dump) {
  const vk::le_reader reader(attribute.bytes);
  const size_t value_offset = reader.u16(mft_format::attr_value_offset);
  const size_t node_start = value_offset + root_header_size;
  if (attribute.non_resident || attribute.bytes.size() < root_attribute_min ||
      !reader.has(node_start, indx_format::rec_node_header)) {
    return false;
  }
  root.assign(attribute.bytes.begin() + static_cast<ptrdiff_t>(node_start), attribute.bytes.end());
  dump.append(root);
  parse_index_node(pass.stores, pass.directory_ref, vk::le_reader(root), root_node_start, pass.carve_slack);
  return true;
}

bool is_index_attribute(const mft_attribute& attribute, uint32_t type) {
  return attribute.type == type && attribute.name == index_name;
}

// The merge has moved the entries into the report; the live store is kept,
// so that the next attribute's slack is compared with its entries too.
void keep_live_entries(entry_stores& from, entry_stores& to, const entry_report& report) {
  to.valid.absorb(from.valid, report.entries);
  from.clear();
}

// When a directory's index root shrinks (its entries moved out to INDX
// records, or deleted), the record's used size shrinks and the old entries
// stay past it.  They are carved with the directory's own reference as the
// parent to look for, and belong to this directory; only an entry whose
// parent field is whole (a sequence number) and names another directory is
// left out: an attribute left by an earlier owner of the record.
bool carve_record_slack(CNtfs& volume, uint64_t entry, entry_stores& stores, kept_records& carved) {
  byte_array record;
  bool bad = false;
  const std::optional<uint64_t> position = volume.record_position(entry);
  if (!position || !volume.fetch_record(record, bad, entry) || bad || !has_file_signature(record)) return false;
  const vk::le_reader header(record);
  const uint64_t used = header.u32(mft_format::rec_bytes_in_use);
  const uint64_t end = std::min<uint64_t>(header.u32(mft_format::rec_bytes_allocated), record.size());
  if (used >= end) return false;
  entry_stores found;
  const mft_ref self = make_mft_ref(entry, header.u16(mft_format::rec_sequence));
  carve_node_slack(found, self, header.sub(used, end - used), source_offset{offset_frame::volume, *position + used});
  for (const uint32_t number : found.slack) {
    const mft_ref parent = found.entries[number].parent_ref();
    if (mft_sequence_of(parent) == 0 || mft_entry_of(parent) == entry) stores.add_slack(std::move(found.entries[number]));
  }
  if (stores.empty()) return false;
  carved.keep(*position, record);
  return true;
}

void note_allocation_clusters(const data_run_list& runs, directory_index& out) {
  for (const data_run& run : runs)
    if (!run.sparse && run.lcn >= 0) out.allocation_clusters.emplace_back(static_cast<uint64_t>(run.lcn), run.cluster_count);
}

}  // namespace

void directory_index::clear() {
  root.clear();
  alloc.clear();
  stores.clear();
  report.clear();
  carved.clear();
  allocation_clusters.clear();
}

bool analyse_directory(CNtfs& volume, const indx_options& options, uint64_t entry, uint16_t record_sequence,
                       directory_index& out) {
  out.clear();
  mft_record record;
  if (!load_mft_record(volume, entry, record)) return false;
  // A directory whose record is no longer in use holds no live entries,
  // whatever its index still looks like.
  const bool entries_may_be_live = (record.header.flags & mft_format::rec_flag_in_use) != 0;
  entry_stores stores;
  index_pass pass{volume, make_mft_ref(entry, record_sequence), true, stores, bitmap_of(volume, record)};
  bool root_done = false, alloc_done = false, collected = false;
  for (const mft_attribute& attribute : record.attributes) {
    entry_source source = entry_source::index_root;
    if (!root_done && is_index_attribute(attribute, mft_format::type_index_root)) {
      raw_dump dump(options, ".indx.root.bin");
      parse_root(pass, attribute, out.root, dump);
      root_done = true;
    } else if (!alloc_done && is_index_attribute(attribute, mft_format::type_index_allocation)) {
      raw_dump dump(options, ".indx.alloc.bin");
      const data_run_list runs = stream_runs(record.attributes, attribute.type, index_name);
      reserve_for_allocation(volume, runs, out.report, stores, out.alloc);
      if (options.unalloc) note_allocation_clusters(runs, out);
      parse_allocation(pass, runs, out.alloc, dump);
      source = entry_source::index_allocation;
      alloc_done = true;
    } else {
      continue;
    }
    if (!entries_may_be_live) stores.demote_valid_entries();
    collected |= merge_entries(out.report, stores, source, options.max_plausible_entry, &out.stores.valid);
    keep_live_entries(stores, out.stores, out.report);
  }
  if (options.unalloc && carve_record_slack(volume, entry, stores, out.carved)) {
    collected |= merge_entries(out.report, stores, entry_source::mft_slack, options.max_plausible_entry,
                               &out.stores.valid);
    keep_live_entries(stores, out.stores, out.report);
  }
  return collected;
}

bool read_directory_children(CNtfs& volume, uint64_t entry, std::vector<directory_child>& children) {
  children.clear();
  mft_record record;
  if (!load_mft_record(volume, entry, record)) return false;
  entry_stores stores;
  index_pass pass{volume, make_mft_ref(entry, record.header.sequence), false, stores, bitmap_of(volume, record)};
  const indx_options no_dump;
  byte_array buffer;
  if (const mft_attribute* root = find_attribute(record.attributes, mft_format::type_index_root, index_name)) {
    raw_dump dump(no_dump, "");
    parse_root(pass, *root, buffer, dump);
  }
  const data_run_list runs = stream_runs(record.attributes, mft_format::type_index_allocation, index_name);
  if (!runs.empty()) {
    raw_dump dump(no_dump, "");
    parse_allocation(pass, runs, buffer, dump);
  }
  stores.seal();
  for (const uint32_t number : stores.valid.numbers()) {
    const indx_entry& child = stores.entries[number];
    children.push_back({mft_entry_of(child.file_ref), mft_sequence_of(child.file_ref), child.name, child.is_dir, {}});
  }
  return true;
}

children_reader children_of_directories(CNtfs& volume) {
  return [&volume](uint64_t directory, std::vector<directory_child>& children) {
    return read_directory_children(volume, directory, children);
  };
}
