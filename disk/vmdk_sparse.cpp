#include "disk/vmdk_sparse.h"

#include <algorithm>

#include "support/le_reader.h"

#if SLIX_HAVE_ZLIB
#include <zlib.h>
#endif

namespace fmt = vmdk_format;

namespace {

// Grain tables are read in runs of adjacent tables, at most this many bytes
// at a time (real writers lay every table out back to back after the
// directory, so a whole extent's tables usually come in a few reads).
constexpr uint64_t table_read_chunk = 4u << 20;

std::vector<uint32_t> decode_entries(std::span<const uint8_t> bytes) {
  const vk::le_reader reader(bytes);
  std::vector<uint32_t> entries(bytes.size() / fmt::table_entry_size);
  for (size_t i = 0; i < entries.size(); ++i) entries[i] = reader.u32(i * fmt::table_entry_size);
  return entries;
}

// Inflates a zlib stream into `out`.  The last grain of an extent whose
// capacity is not a whole number of grains inflates shorter; the rest of it
// stays zero.
bool inflate_into(std::span<const uint8_t> deflated, std::span<uint8_t> out) {
#if SLIX_HAVE_ZLIB
  uLongf length = static_cast<uLongf>(out.size());
  return ::uncompress(out.data(), &length, deflated.data(), static_cast<uLong>(deflated.size())) == Z_OK;
#else
  (void)deflated;
  (void)out;
  return false;
#endif
}

}  // namespace

std::unique_ptr<vmdk_sparse_extent> vmdk_sparse_extent::open(std::shared_ptr<const vmdk_file> file,
                                                             std::string& why) {
  std::unique_ptr<vmdk_sparse_extent> extent(new vmdk_sparse_extent(std::move(file)));
  uint8_t bytes[fmt::header_size];
  if (!extent->m_file->read_exact(0, bytes) || !fmt::decode_sparse_header(bytes, extent->m_header) ||
      extent->m_header.magic != fmt::sparse_magic) {
    why = "is not a sparse extent";
    return nullptr;
  }
  why = extent->take_stream_optimized_layout();
  if (why.empty()) why = fmt::sparse_header_problem(extent->m_header, extent->m_file->size());
  if (why.empty()) why = extent->load_grain_tables();
  if (!why.empty()) return nullptr;
  return extent;
}

// A streamOptimized extent needs its grains inflated (zlib), and its grain
// directory may be named only by the footer.
std::string vmdk_sparse_extent::take_stream_optimized_layout() {
  m_compressed = fmt::has_compressed_grains(m_header);
  if (!m_compressed) return "";
#if !SLIX_HAVE_ZLIB
  return "uses compressed grains (streamOptimized), and this slix was built without zlib; install zlib1g-dev and "
         "rebuild";
#else
  if (m_header.compress_algorithm != fmt::compress_deflate)
    return "uses grain compression " + std::to_string(m_header.compress_algorithm) + " (only deflate is known)";
  if (m_header.gd_offset != fmt::gd_at_end) return "";
  uint8_t footer[fmt::header_size];
  fmt::VMDK_SPARSE_HEADER copy;
  const uint64_t size = m_file->size();
  if (size < fmt::footer_from_end || !m_file->read_exact(size - fmt::footer_from_end, footer) ||
      !fmt::decode_sparse_header(footer, copy) || copy.magic != fmt::sparse_magic)
    return "names a grain directory at its end, but has no footer";
  m_header.gd_offset = copy.gd_offset;
  return "";
#endif
}

std::string vmdk_sparse_extent::embedded_descriptor() const {
  if (m_header.descriptor_offset == 0) return "";
  // The header check bounded the descriptor by the file and by 1 MiB.
  std::string text(m_header.descriptor_size * fmt::sector_size, '\0');
  std::span<uint8_t> bytes(reinterpret_cast<uint8_t*>(text.data()), text.size());
  if (!m_file->read_exact(m_header.descriptor_offset * fmt::sector_size, bytes)) return "";
  return text.substr(0, text.find('\0'));
}

std::string vmdk_sparse_extent::load_grain_tables() {
  m_grain_bytes = m_header.grain_size * fmt::sector_size;
  m_table_coverage = m_grain_bytes * m_header.gtes_per_gt;
  const uint64_t directory_entries = fmt::grain_directory_entries(m_header);
  // The header check placed the whole directory inside the file.
  std::vector<uint8_t> directory_bytes(directory_entries * fmt::table_entry_size);
  if (!m_file->read_exact(fmt::grain_directory_sector(m_header) * fmt::sector_size, directory_bytes))
    return "has a grain directory that cannot be read";
  const std::vector<uint32_t> directory = decode_entries(directory_bytes);

  const uint64_t table_bytes = uint64_t{m_header.gtes_per_gt} * fmt::table_entry_size;
  const auto used = static_cast<uint64_t>(std::count_if(directory.begin(), directory.end(),
                                                        [](uint32_t sector) { return sector != 0; }));
  // Distinct tables cannot overlap, so together they fit in the file; this
  // bounds the memory a hostile directory (every entry naming one table) gets.
  if (used > m_file->size() / table_bytes || used >= no_table) return "has grain tables larger than the file";
  m_grain_entries.resize(used * m_header.gtes_per_gt);
  m_table_of_entry.assign(directory.size(), no_table);

  uint32_t next_table = 0;
  for (size_t i = 0; i < directory.size();) {
    if (directory[i] == 0) {
      ++i;
      continue;
    }
    const uint64_t run_pos = uint64_t{directory[i]} * fmt::sector_size;
    size_t run = 1;
    while (i + run < directory.size() && uint64_t{directory[i + run]} * fmt::sector_size == run_pos + run * table_bytes)
      ++run;
    if (run_pos > m_file->size() || run * table_bytes > m_file->size() - run_pos)
      return "has a grain table past the end of the file";
    for (size_t k = 0; k < run; ++k) m_table_of_entry[i + k] = next_table + static_cast<uint32_t>(k);
    if (!read_table_run(next_table, run_pos, run)) return "has grain tables that cannot be read";
    next_table += static_cast<uint32_t>(run);
    i += run;
  }
  m_missing_bytes = bytes_past_end();
  return "";
}

// A truncated copy of an extent keeps its tables but loses the grains at its
// end; those read as zeros, and the shortfall is reported once.
uint64_t vmdk_sparse_extent::bytes_past_end() const {
  const bool zeroed_marker = (m_header.flags & fmt::flag_zeroed_grain_gte) != 0;
  uint32_t last = 0;
  for (const uint32_t entry : m_grain_entries)
    if (entry > last && !(zeroed_marker && entry == fmt::gte_zeroed)) last = entry;
  if (last == 0) return 0;
  const uint64_t start = uint64_t{last} * fmt::sector_size;
  uint64_t end = start + m_grain_bytes;
  if (m_compressed) {
    // A deflated grain ends where its marker says.
    uint8_t marker[fmt::marker_header_size] = {};
    m_file->read_zero_filled(start, marker);
    end = start + fmt::marker_header_size + vk::le_reader(marker).u32(fmt::marker_size);
  }
  return end > m_file->size() ? end - m_file->size() : 0;
}

bool vmdk_sparse_extent::read_table_run(size_t first_table, uint64_t file_pos, size_t tables) {
  const uint64_t table_bytes = uint64_t{m_header.gtes_per_gt} * fmt::table_entry_size;
  const size_t tables_per_read = static_cast<size_t>(std::max<uint64_t>(1, table_read_chunk / table_bytes));
  std::vector<uint8_t> bytes;
  for (size_t done = 0; done < tables;) {
    const size_t count = std::min(tables_per_read, tables - done);
    bytes.resize(count * table_bytes);
    if (!m_file->read_exact(file_pos + done * table_bytes, bytes)) return false;
    const std::vector<uint32_t> entries = decode_entries(bytes);
    std::copy(entries.begin(), entries.end(),
              m_grain_entries.begin() + static_cast<std::ptrdiff_t>((first_table + done) * m_header.gtes_per_gt));
    done += count;
  }
  return true;
}

vmdk_piece vmdk_sparse_extent::locate(uint64_t offset) const {
  vmdk_piece piece;
  piece.length = UINT64_MAX;
  if (offset >= capacity_bytes()) return piece;
  const uint64_t directory_index = offset / m_table_coverage;
  const uint64_t in_table = offset % m_table_coverage;
  const uint32_t table = directory_index < m_table_of_entry.size() ? m_table_of_entry[directory_index] : no_table;
  if (table == no_table) {
    piece.length = m_table_coverage - in_table;
    return piece;
  }
  const uint64_t in_grain = offset % m_grain_bytes;
  piece.length = m_grain_bytes - in_grain;
  const uint32_t entry = m_grain_entries[uint64_t{table} * m_header.gtes_per_gt + in_table / m_grain_bytes];
  if (entry == fmt::gte_absent) return piece;
  if (entry == fmt::gte_zeroed && (m_header.flags & fmt::flag_zeroed_grain_gte) != 0) {
    piece.from = vmdk_piece::source::zeros;
    return piece;
  }
  piece.from = m_compressed ? vmdk_piece::source::compressed : vmdk_piece::source::file;
  piece.file = m_file.get();
  piece.extent = this;
  piece.file_pos = uint64_t{entry} * fmt::sector_size;
  piece.in_grain = in_grain;
  if (!m_compressed) piece.file_pos += in_grain;
  return piece;
}

bool vmdk_sparse_extent::read_compressed(uint64_t marker_pos, uint64_t in_grain, std::span<uint8_t> out) const {
  if (m_cached_marker != marker_pos && !inflate_grain(marker_pos)) return false;
  if (in_grain > m_cached_grain.size() || out.size() > m_cached_grain.size() - in_grain) return false;
  std::copy_n(m_cached_grain.begin() + static_cast<std::ptrdiff_t>(in_grain), out.size(), out.begin());
  return true;
}

// Inflates one grain into the cache: reads follow each other through a
// grain, so the last grain inflated serves the next read too.
bool vmdk_sparse_extent::inflate_grain(uint64_t marker_pos) const {
  m_cached_marker = no_grain;
  uint8_t marker[fmt::marker_header_size];
  if (!m_file->read_exact(marker_pos, marker)) return false;
  const uint64_t stored = vk::le_reader(marker).u32(fmt::marker_size);
  // A deflated grain is never much larger than the grain itself.
  if (stored > 2 * m_grain_bytes + 1024) return false;
  std::vector<uint8_t> deflated(stored);
  if (!m_file->read_exact(marker_pos + fmt::marker_header_size, deflated)) return false;
  m_cached_grain.assign(m_grain_bytes, 0);
  if (!inflate_into(deflated, m_cached_grain)) return false;
  m_cached_marker = marker_pos;
  return true;
}
