#include "disk/ewf_reader.h"

#if SLIX_HAVE_LIBDEFLATE
#include <libdeflate.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "disk/container_format.h"
#include "disk/ewf_format.h"
#include "support/checked_math.h"
#include "support/le_reader.h"

namespace fmt = ewf_format;

namespace {

uint32_t adler32(std::span<const uint8_t> bytes) {
  return libdeflate_adler32(1, bytes.data(), bytes.size());
}

// The checksum field at `at` matches the Adler-32 of the bytes before it.
bool checksum_matches(std::span<const uint8_t> bytes, size_t at) {
  return at <= bytes.size() && vk::le_reader(bytes).u32(at) == adler32(bytes.first(at));
}

// The chunks of one table: `count` entries from `first_entry` of the
// reader's entry list, serving chunks from `first_chunk` on.
struct chunk_table {
  uint64_t first_chunk = 0;
  size_t first_entry = 0;
  uint32_t count = 0;
  uint32_t segment = 0;
  uint64_t base = 0;      // the entries' offsets count from here
  uint64_t data_end = 0;  // the end of the sectors section: where the last chunk ends
};

// Where a chunk's stored bytes lie.
struct chunk_place {
  uint32_t segment = 0;
  uint64_t offset = 0;
  uint64_t stored = 0;
  bool compressed = false;
};

// What inflating one chunk needs: libdeflate's decompressor and a buffer
// for the stream, both kept from chunk to chunk.
class chunk_decoder {
 public:
  chunk_decoder() : m_inflater(libdeflate_alloc_decompressor()) {}
  ~chunk_decoder() { libdeflate_free_decompressor(m_inflater); }
  chunk_decoder(const chunk_decoder&) = delete;
  chunk_decoder& operator=(const chunk_decoder&) = delete;

  bool ready() const { return m_inflater != nullptr; }
  // A zlib stream that inflates to exactly out.size() bytes; libdeflate
  // checks the stream's own Adler-32.
  bool inflate(disk& file, uint64_t offset, uint64_t stored, std::span<uint8_t> out) {
    // The buffer only grows: streams differ in size from chunk to chunk, and
    // a resize each time would clear the bytes it adds.
    if (m_packed.size() < stored) m_packed.resize(stored);
    const std::span<uint8_t> packed = std::span<uint8_t>(m_packed).first(stored);
    return m_inflater != nullptr && file.read_exact(offset, packed) &&
           libdeflate_zlib_decompress(m_inflater, packed.data(), packed.size(), out.data(), out.size(), nullptr) ==
               LIBDEFLATE_SUCCESS;
  }

 private:
  libdeflate_decompressor* m_inflater = nullptr;
  std::vector<uint8_t> m_packed;
};

struct media_geometry {
  uint64_t chunk_count = 0;
  uint64_t chunk_size = 0;
  uint64_t size = 0;
};

class section_walk;

class slix_ewf_reader final : public ewf_reader {
 public:
  explicit slix_ewf_reader(std::span<disk* const> segments) : m_segments(segments.begin(), segments.end()) {}

  // "" when the whole set is understood, else why not.
  std::string load();

  uint64_t size() const override { return m_geometry.size; }
  uint64_t chunk_size() const override { return m_geometry.chunk_size; }
  uint64_t chunk_count() const override { return m_geometry.chunk_count; }

  bool read_checked_part(uint64_t index, uint64_t in_chunk, std::span<uint8_t> out) override {
    if (index >= chunk_count() || !m_checked[index]) return false;
    const uint64_t bytes = chunk_bytes(index);
    if (in_chunk > bytes || out.size() > bytes - in_chunk) return false;
    const chunk_place place = locate(index);
    return m_segments[place.segment]->read_exact(place.offset + in_chunk, out);
  }

  bool read_chunk(uint64_t index, std::span<uint8_t> out) override {
    if (index >= chunk_count() || out.size() != chunk_bytes(index)) return false;
    const chunk_place place = locate(index);
    disk& file = *m_segments[place.segment];
    if (!place.compressed) {
      // The chunk as it is, then the Adler-32 of its bytes.
      std::array<uint8_t, fmt::stored_chunk_checksum_size> checksum{};
      const bool sound = place.stored == out.size() + checksum.size() && file.read_exact(place.offset, out) &&
                         file.read_exact(place.offset + out.size(), checksum) &&
                         vk::le_reader(checksum).u32(0) == adler32(out);
      if (sound) m_checked[index] = true;
      return sound;
    }
    return m_decoder.inflate(file, place.offset, place.stored, out);
  }

 private:
  friend class section_walk;

  chunk_place locate(uint64_t index) const {
    const auto after = std::upper_bound(m_tables.begin(), m_tables.end(), index,
                                        [](uint64_t i, const chunk_table& t) { return i < t.first_chunk; });
    const chunk_table& table = *(after - 1);  // the first table serves chunk 0
    const size_t i = static_cast<size_t>(index - table.first_chunk);
    const uint32_t entry = m_entries[table.first_entry + i];
    const uint64_t start = table.base + (entry & fmt::table_offset_mask);
    const uint64_t end = i + 1 < table.count
                             ? table.base + (m_entries[table.first_entry + i + 1] & fmt::table_offset_mask)
                             : table.data_end;
    return {table.segment, start, end - start, (entry & fmt::table_compressed_flag) != 0};
  }

  std::vector<disk*> m_segments;
  chunk_decoder m_decoder;
  media_geometry m_geometry;
  std::vector<chunk_table> m_tables;
  std::vector<uint32_t> m_entries;
  std::vector<bool> m_checked;  // stored chunks whose checksum matched, by index
};

// The walk of one segment's sections, adding its tables to the reader.
class section_walk {
 public:
  section_walk(slix_ewf_reader& reader, uint32_t segment, bool last, bool& volume_seen)
      : m_reader(reader), m_file(*reader.m_segments[segment]), m_segment(segment), m_last(last),
        m_volume_seen(volume_seen) {}

  std::string run() {
    if (std::string problem = check_file_header(); !problem.empty()) return problem;
    // Each descriptor lies past the one before it, so the walk ends.
    for (uint64_t at = fmt::file_header_size;;) {
      std::array<uint8_t, fmt::descriptor_size> descriptor{};
      if (!m_file.read_exact(at, descriptor)) return "a section descriptor past the end of the file";
      if (!checksum_matches(descriptor, fmt::section_checksum)) return "a section descriptor whose checksum does not match";
      const vk::le_reader fields(descriptor);
      const std::string type = type_of(descriptor);
      const uint64_t next = fields.u64(fmt::section_next);
      const uint64_t size = fields.u64(fmt::section_size);
      if (type == "next" || type == "done") return finish(type, at, next);
      if (next <= at || size < fmt::descriptor_size || vk::saturating_add(at, size) != next)
        return "a " + type + " section whose size and next offset disagree";
      if (std::string problem = section(type, at, size); !problem.empty()) return problem;
      at = next;
    }
  }

 private:
  static std::string type_of(std::span<const uint8_t> descriptor) {
    const auto* text = reinterpret_cast<const char*>(descriptor.data());
    std::string_view type(text, fmt::section_type_size);
    return std::string(type.substr(0, type.find('\0')));
  }

  std::string check_file_header() {
    std::array<uint8_t, fmt::file_header_size> header{};
    if (!m_file.read_exact(0, header) || !vk::has_bytes_at(header, 0, container_format::ewf1_signature))
      return "a segment that is not EWF-E01";
    const vk::le_reader fields(header);
    if (fields.u8(fmt::fields_start) != 1 || fields.u16(fmt::fields_end) != 0 ||
        fields.u16(fmt::segment_number) != m_segment + 1)
      return "a segment header out of order";
    return "";
  }

  std::string finish(const std::string& type, uint64_t at, uint64_t next) {
    if (next != at) return "a " + type + " section that does not end the chain";
    if ((type == "done") != m_last) return "a " + type + " section in the wrong segment";
    if (m_sectors_end != 0) return "chunk data no table lists";
    return "";
  }

  std::string section(const std::string& type, uint64_t at, uint64_t size) {
    if (type == "header" || type == "header2" || type == "data" || type == "hash" || type == "digest") return "";
    if (type == "volume" || type == "disk") return volume(at, size);
    if (type == "sectors") {
      if (m_sectors_end != 0) return "two sectors sections without a table between them";
      m_sectors_start = at + fmt::descriptor_size;
      m_sectors_end = at + size;
      return "";
    }
    if (type == "table") return table(at, size);
    if (type == "table2") return m_after_table ? "" : "a table2 section without a table before it";
    return "a section of type '" + type + "'";
  }

  std::string volume(uint64_t at, uint64_t size) {
    if (m_segment != 0 || m_volume_seen) return "a volume section outside the first segment's start";
    std::array<uint8_t, fmt::volume_data_size> data{};
    if (size != fmt::descriptor_size + data.size() || !m_file.read_exact(at + fmt::descriptor_size, data))
      return "a volume section of an unknown size";
    if (!checksum_matches(data, fmt::volume_checksum)) return "a volume section whose checksum does not match";
    const vk::le_reader fields(data);
    const uint64_t chunk_size = uint64_t{fields.u32(fmt::volume_sectors_per_chunk)} * fields.u32(fmt::volume_bytes_per_sector);
    const uint64_t sectors = fields.u64(fmt::volume_sector_count);
    const uint64_t bytes_per_sector = fields.u32(fmt::volume_bytes_per_sector);
    media_geometry& geometry = m_reader.m_geometry;
    geometry.chunk_count = fields.u32(fmt::volume_chunk_count);
    geometry.chunk_size = chunk_size;
    if (chunk_size == 0 || chunk_size > fmt::max_chunk_bytes || sectors > max_disk_sectors * 512 / bytes_per_sector)
      return "a volume section of an unlikely geometry";
    geometry.size = sectors * bytes_per_sector;
    if (geometry.size == 0 || geometry.chunk_count != (geometry.size + chunk_size - 1) / chunk_size)
      return "a volume section whose chunk count does not fit its size";
    m_volume_seen = true;
    return "";
  }

  // A table lists the chunks of the sectors section before it; every chunk
  // lies inside that section, after the one before it, and is no larger than
  // a chunk stored as it is (or a little more, for a stream that did not
  // shrink).
  std::string table(uint64_t at, uint64_t size) {
    if (!m_volume_seen) return "a table before the volume section";
    if (m_sectors_end == 0 || m_sectors_end > at) return "a table without its sectors section before it";
    std::array<uint8_t, fmt::table_header_size> header{};
    if (!m_file.read_exact(at + fmt::descriptor_size, header) || !checksum_matches(header, fmt::table_header_checksum))
      return "a table header whose checksum does not match";
    const vk::le_reader fields(header);
    const uint32_t count = fields.u32(fmt::table_entry_count);
    const uint64_t listed = fmt::descriptor_size + header.size() + uint64_t{count} * fmt::table_entry_size;
    if (count == 0 || listed + fmt::table_footer_size > size) return "a table of an unlikely size";
    std::vector<uint8_t> entries(uint64_t{count} * fmt::table_entry_size + fmt::table_footer_size);
    if (!m_file.read_exact(at + fmt::descriptor_size + header.size(), entries) ||
        !checksum_matches(entries, entries.size() - fmt::table_footer_size))
      return "a table whose entries' checksum does not match";
    chunk_table added{m_reader.m_tables.empty() ? 0 : chunks_so_far(), m_reader.m_entries.size(), count,
                      m_segment, fields.u64(fmt::table_base_offset), m_sectors_end};
    if (std::string problem = add_entries(added, vk::le_reader(entries)); !problem.empty()) return problem;
    m_reader.m_tables.push_back(added);
    m_sectors_end = 0;
    m_after_table = true;
    return "";
  }

  uint64_t chunks_so_far() const {
    const chunk_table& last = m_reader.m_tables.back();
    return last.first_chunk + last.count;
  }

  std::string add_entries(const chunk_table& table, const vk::le_reader& entries) {
    const uint64_t largest = m_reader.m_geometry.chunk_size * 2 + fmt::stored_chunk_checksum_size;
    if (table.first_chunk + table.count > m_reader.m_geometry.chunk_count) return "more chunks than the volume holds";
    uint64_t previous = 0;
    for (uint32_t i = 0; i < table.count; ++i) {
      const uint32_t entry = entries.u32(i * fmt::table_entry_size);
      const uint64_t start = table.base + (entry & fmt::table_offset_mask);
      if (start < m_sectors_start || start >= table.data_end || (i > 0 && start <= previous) ||
          (i > 0 && start - previous > largest))
        return "a table entry outside its sectors section or out of order";
      previous = start;
      m_reader.m_entries.push_back(entry);
    }
    if (table.data_end - previous > largest) return "a last chunk larger than any chunk";
    return "";
  }

  slix_ewf_reader& m_reader;
  disk& m_file;
  uint32_t m_segment;
  bool m_last;
  bool& m_volume_seen;
  uint64_t m_sectors_start = 0;
  uint64_t m_sectors_end = 0;  // 0 when no sectors section waits for its table
  bool m_after_table = false;
};

std::string slix_ewf_reader::load() {
  if (!m_decoder.ready()) return "no memory for an inflater";
  bool volume_seen = false;
  for (size_t i = 0; i < m_segments.size(); ++i) {
    const std::string problem = section_walk(*this, static_cast<uint32_t>(i), i + 1 == m_segments.size(), volume_seen).run();
    if (!problem.empty()) return "segment " + std::to_string(i + 1) + " has " + problem;
  }
  if (!volume_seen) return "no volume section";
  const uint64_t listed = m_tables.empty() ? 0 : m_tables.back().first_chunk + m_tables.back().count;
  if (listed != m_geometry.chunk_count) return "tables that list fewer chunks than the volume holds";
  m_checked.assign(m_geometry.chunk_count, false);
  return "";
}

}  // namespace

bool ewf_reader_built() { return true; }

std::unique_ptr<ewf_reader> ewf_reader::open(std::span<disk* const> segments, std::string& refusal) {
  if (segments.empty() || segments.size() > UINT16_MAX) {
    refusal = "no segments, or more than a set can number";
    return nullptr;
  }
  auto reader = std::make_unique<slix_ewf_reader>(segments);
  refusal = reader->load();
  if (!refusal.empty()) return nullptr;
  return reader;
}

#else

bool ewf_reader_built() { return false; }

std::unique_ptr<ewf_reader> ewf_reader::open(std::span<disk* const>, std::string& refusal) {
  refusal = "slix was built without libdeflate";
  return nullptr;
}

#endif
