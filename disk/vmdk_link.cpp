#include "disk/vmdk_link.h"

#include <algorithm>
#include <optional>

#include "support/check.h"
#include "support/le_reader.h"

namespace fmt = vmdk_format;

namespace {

// A descriptor file is a few hundred bytes (a few tens of KiB for a disk
// split into a thousand extents); anything larger is not one.
constexpr uint64_t max_descriptor_file = 1u << 20;

std::string folder_of(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

bool starts_with_sparse_magic(const vmdk_file& file) {
  uint8_t magic[4];
  if (!file.read_exact(0, magic)) return false;
  return vk::le_reader(magic).u32(0) == fmt::sparse_magic;
}

}  // namespace

std::unique_ptr<vmdk_link> vmdk_link::open(const std::string& path, std::string& why, int& error) {
  why.clear();
  std::shared_ptr<const vmdk_file> file = vmdk_file::open(path, error);
  if (!file) return nullptr;
  std::unique_ptr<vmdk_link> link(new vmdk_link(path));
  const bool monolithic = starts_with_sparse_magic(*file);
  why = monolithic ? link->open_monolithic(std::move(file)) : link->open_descriptor_file(std::move(file));
  error = link->m_open_error;
  if (!why.empty()) return nullptr;
  return link;
}

std::string vmdk_link::open_monolithic(std::shared_ptr<const vmdk_file> file) {
  std::string why;
  std::shared_ptr<const vmdk_sparse_extent> sparse = vmdk_sparse_extent::open(file, why);
  if (!sparse) return m_name + " " + why;
  const std::string text = sparse->embedded_descriptor();
  if (text.empty()) return m_name + " is a sparse extent without a descriptor; give its descriptor file instead";
  why = parse_vmdk_descriptor(text, m_descriptor);
  if (!why.empty()) return m_name + " " + why;
  m_size = sparse->capacity_bytes();
  if (m_size > 0) m_extents.push_back({extent_kind::sparse, 0, m_size, nullptr, 0, std::move(sparse)});
  return "";
}

std::string vmdk_link::open_descriptor_file(std::shared_ptr<const vmdk_file> file) {
  const std::string not_vmdk = m_name + " is neither a VMDK descriptor nor a sparse extent";
  if (file->size() > max_descriptor_file) return not_vmdk;
  std::string text(file->size(), '\0');
  if (!file->read_exact(0, std::span<uint8_t>(reinterpret_cast<uint8_t*>(text.data()), text.size())))
    return m_name + " cannot be read";
  file.reset();  // read whole: its descriptor is free for the extents
  // Writers may pad a descriptor file with zeros; anything else after the
  // first zero byte is binary data.
  const size_t end = text.find('\0');
  if (end != std::string::npos && text.find_first_not_of('\0', end) != std::string::npos) return not_vmdk;
  const std::string why = parse_vmdk_descriptor(text, m_descriptor);
  if (!why.empty()) return m_name + " " + why;
  for (const vmdk_extent_line& line : m_descriptor.extents) {
    std::string problem = add_extent(line);
    if (!problem.empty()) return problem;
  }
  return "";
}

std::string vmdk_link::add_extent(const vmdk_extent_line& line) {
  if (line.sectors > max_disk_sectors - m_size / fmt::sector_size)
    return m_name + " describes a disk larger than " + std::to_string(max_disk_sectors) + " sectors";
  extent piece{extent_kind::zero, m_size, line.sectors * fmt::sector_size, nullptr, 0, nullptr};
  const std::string path = line.file_name.starts_with('/') ? line.file_name : folder_of(m_name) + line.file_name;
  std::string why;
  if (line.type == "SPARSE") {
    piece.kind = extent_kind::sparse;
    piece.sparse = open_sparse(path, why);
    if (!piece.sparse) return why;
  } else if (line.type == "FLAT" || line.type == "VMFS") {
    // VMFS extents are flat files on an ESX datastore.
    piece.kind = extent_kind::flat;
    piece.file = open_file(path);
    piece.file_offset = line.file_offset_sectors * fmt::sector_size;
    if (!piece.file) return path + " can't be opened";
  } else if (line.type != "ZERO") {
    return m_name + " names a " + line.type.substr(0, 40) + " extent, which slix does not read";
  }
  if (piece.length == 0) return "";
  m_size += piece.length;
  m_extents.push_back(std::move(piece));
  return "";
}

std::shared_ptr<const vmdk_sparse_extent> vmdk_link::open_sparse(const std::string& path, std::string& why) {
  std::shared_ptr<const vmdk_file> file = open_file(path);
  if (!file) {
    why = path + " can't be opened";
    return nullptr;
  }
  const auto known = m_sparse.find(file.get());
  if (known != m_sparse.end()) return known->second;
  std::shared_ptr<const vmdk_sparse_extent> sparse = vmdk_sparse_extent::open(file, why);
  if (!sparse) {
    why = path + " " + why;
    return nullptr;
  }
  m_sparse.emplace(file.get(), sparse);
  return sparse;
}

std::shared_ptr<const vmdk_file> vmdk_link::open_file(const std::string& path) {
  const std::optional<vk::file_identity> identity = vk::identity_of_path(path);
  if (identity) {
    for (const auto& [known, file] : m_files)
      if (known == *identity) return file;
  }
  std::shared_ptr<const vmdk_file> file = vmdk_file::open(path, m_open_error);
  if (file && identity) m_files.emplace_back(*identity, file);
  return file;
}

std::vector<source_warning> vmdk_link::warnings() const {
  std::vector<source_warning> found;
  auto note = [&found](const std::string& file, uint64_t missing) {
    for (const source_warning& known : found)
      if (known.file == file) return;
    if (missing > 0) found.push_back({source_warning_kind::shorter_than_metadata, file, missing});
  };
  for (const extent& e : m_extents) {
    if (e.kind == extent_kind::sparse) note(e.sparse->file().path(), e.sparse->missing_bytes());
    if (e.kind != extent_kind::flat) continue;
    // A flat extent holds its data from file_offset on, for its whole length.
    const uint64_t needed = e.file_offset + e.length;
    note(e.file->path(), needed > e.file->size() ? needed - e.file->size() : 0);
  }
  return found;
}

vmdk_piece vmdk_link::locate(uint64_t offset) const {
  vmdk_piece piece;
  piece.length = UINT64_MAX;
  if (offset >= m_size) return piece;
  auto after = std::upper_bound(m_extents.begin(), m_extents.end(), offset,
                                [](uint64_t value, const extent& e) { return value < e.start; });
  // Extents tile [0, m_size) from 0 without gaps, so one starts at or before offset.
  SLIX_CHECK(after != m_extents.begin());
  const extent& e = *(after - 1);
  const uint64_t in_extent = offset - e.start;
  const uint64_t left = e.length - in_extent;
  switch (e.kind) {
    case extent_kind::sparse:
      piece = e.sparse->locate(in_extent);
      break;
    case extent_kind::flat:
      piece.from = vmdk_piece::source::file;
      piece.file = e.file.get();
      piece.file_pos = e.file_offset + in_extent;
      break;
    case extent_kind::zero:
      piece.from = vmdk_piece::source::zeros;
      break;
  }
  piece.length = std::min(piece.length, left);
  return piece;
}
