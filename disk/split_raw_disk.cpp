// A raw image split into numbered pieces (name.001, name.002, ... or from
// name.000; past .999 the numbers grow a digit: name.1000), as many imagers
// write it: read as one disk, the pieces laid end to end in number order.
// The pieces carry no signature, so they are found by their names: the piece
// named on the command line, then each next number for as long as it exists.
// Only a piece that does not exist ends the set; a piece that exists and
// cannot be opened (no permission, no descriptor left) is a fault, named.  A
// higher-numbered piece after a missing one means a hole in the set, which
// is refused with the missing piece's name.
#include "disk/image_formats.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "disk/file_pool.h"
#include "disk/image_disk.h"
#include "support/check.h"

namespace {

constexpr size_t number_digits = 3;

// Pieces held open at once (see file_pool).
constexpr size_t max_open_pieces = 32;

// What add_piece returns for a piece that opens but is neither a regular file
// nor a block device (errno values are positive).
constexpr int not_a_disk_file = -1;

struct piece_name {
  std::string stem;  // through the dot
  unsigned number = 0;
  std::string with(unsigned n) const {
    std::string digits = std::to_string(n);
    return stem + std::string(digits.size() < number_digits ? number_digits - digits.size() : 0, '0') + digits;
  }
};

// A piece name is written as with() writes it: at least three digits after
// the last dot, no leading zero past those three.
std::optional<piece_name> parse_piece_name(const std::string& path) {
  const size_t dot = path.rfind('.');
  if (dot == std::string::npos || path.size() - dot - 1 < number_digits) return std::nullopt;
  piece_name name{path.substr(0, dot + 1), 0};
  const char* digits = path.data() + name.stem.size();
  const auto [end, error] = std::from_chars(digits, path.data() + path.size(), name.number);
  if (error != std::errc() || end != path.data() + path.size() || name.with(name.number) != path) return std::nullopt;
  return name;
}

// The highest piece number in the folder with the same stem; nothing when
// the folder cannot be listed (`error` then says why).
std::optional<unsigned> highest_piece(const piece_name& first, std::string& folder_name, std::error_code& error) {
  namespace fs = std::filesystem;
  const fs::path stem(first.stem);
  const fs::path folder = stem.has_parent_path() ? stem.parent_path() : fs::path(".");
  folder_name = folder.string();
  unsigned highest = first.number;
  for (fs::directory_iterator item(folder, error), end; !error && item != end; item.increment(error)) {
    const std::optional<piece_name> other = parse_piece_name(item->path().filename().string());
    if (other && fs::path(other->stem).filename() == stem.filename() && other->number > highest) highest = other->number;
  }
  if (error) return std::nullopt;
  return highest;
}

struct piece {
  size_t file = 0;     // in the pool
  uint64_t start = 0;  // where the piece begins on the disk
  uint64_t size = 0;
};

class split_raw_disk final : public disk {
 public:
  // Opens the next piece and records it as a source: 0, its errno (ENOENT:
  // there is no such piece), or not_a_disk_file.
  int add_piece(const std::string& name) {
    piece next{0, m_size, 0};
    if (const int error = m_files.add(name, next.file); error != 0) return error;
    if (!source_length(m_files.descriptor(next.file), next.size)) return not_a_disk_file;
    m_size += next.size;
    m_pieces.push_back(next);
    return 0;
  }

  size_t piece_count() const { return m_pieces.size(); }
  void close_all() { m_files.close_all(); }

  bool is_open() const override { return !m_pieces.empty(); }
  uint64_t size() const override { return m_size; }
  uint64_t failed_reads() const override { return m_failed_reads; }

  size_t read(uint64_t offset, std::span<uint8_t> buffer) override {
    size_t done = 0;
    while (done < buffer.size() && offset + done < m_size) {
      const piece& p = m_pieces[piece_at(offset + done)];
      const uint64_t in_piece = offset + done - p.start;
      const int fd = m_files.descriptor(p.file);
      const auto wanted = static_cast<size_t>(std::min<uint64_t>(buffer.size() - done, p.size - in_piece));
      const size_t got = fd < 0 ? 0 : read_fd_at(fd, in_piece, buffer.subspan(done, wanted));
      if (got == 0) {
        ++m_failed_reads;
        break;
      }
      done += got;
    }
    return done;
  }

 private:
  size_t piece_at(uint64_t offset) const {
    const auto after = std::upper_bound(m_pieces.begin(), m_pieces.end(), offset,
                                        [](uint64_t value, const piece& p) { return value < p.start; });
    SLIX_CHECK(after != m_pieces.begin());
    return static_cast<size_t>(after - m_pieces.begin() - 1);
  }

  file_pool m_files{max_open_pieces};
  std::vector<piece> m_pieces;  // in number order, ascending start
  uint64_t m_size = 0;
  uint64_t m_failed_reads = 0;
};

container_opening split_fault(container_fault_kind kind, const std::string& path, std::string detail, int error) {
  container_opening opening;
  opening.fault = {kind, container_kind::split_raw, path, std::move(detail), {}, 0, error};
  return opening;
}

}  // namespace

bool is_split_raw_name(const std::string& path) {
  const std::optional<piece_name> name = parse_piece_name(path);
  return name && name->number <= 1;
}

container_opening open_split_raw_image(const std::string& path) {
  const std::optional<piece_name> named = parse_piece_name(path);
  // Only names is_split_raw_name took come here.
  SLIX_CHECK(named.has_value());
  const piece_name first = *named;
  auto set = std::make_unique<split_raw_disk>();
  unsigned number = first.number;
  for (;; ++number) {
    const std::string name = first.with(number);
    const int error = set->add_piece(name);
    if (error == ENOENT) break;
    if (error != 0)
      return split_fault(container_fault_kind::cannot_open, path, name == path ? "" : name,
                         error == not_a_disk_file ? 0 : error);
  }
  if (set->piece_count() == 0) return split_fault(container_fault_kind::cannot_open, path, "", ENOENT);
  // The listing needs a descriptor of its own; the pieces open again when read.
  set->close_all();
  std::string folder;
  std::error_code listing_error;
  const std::optional<unsigned> highest = highest_piece(first, folder, listing_error);
  if (!highest) return split_fault(container_fault_kind::listing_failed, path, folder, listing_error.value());
  if (*highest > number) return split_fault(container_fault_kind::missing_segment, path, first.with(number), 0);
  container_opening opening;
  opening.source = std::move(set);
  return opening;
}
