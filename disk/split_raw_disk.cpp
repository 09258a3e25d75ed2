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

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "disk/image_disk.h"
#include "support/check.h"
#include "support/file_util.h"

namespace {

constexpr size_t number_digits = 3;

// Pieces held open at once.  A set can have thousands of pieces, more than a
// process may hold open; a piece closed to make room is opened again when it
// is read.
constexpr size_t max_open_pieces = 32;

// What add_piece returns for a piece that opens but is neither a regular file
// nor a block device (errno values are positive).
constexpr int not_a_disk_file = -1;

bool out_of_descriptors(int error) { return error == EMFILE || error == ENFILE; }

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
  std::string name;
  vk::file_identity identity;
  uint64_t start = 0;  // where the piece begins on the disk
  uint64_t size = 0;
  vk::unique_fd fd;
  uint64_t last_use = 0;
};

class split_raw_disk final : public disk {
 public:
  // Opens the next piece and records it as a source: 0, its errno (ENOENT:
  // there is no such piece), or not_a_disk_file.
  int add_piece(const std::string& name) {
    vk::unique_fd fd;
    if (const int error = open_with_room(name, fd, true); error != 0) return error;
    piece next{name, {}, m_size, 0, {}, 0};
    const std::optional<vk::file_identity> identity = vk::identity_of_fd(fd.get());
    if (!identity || !source_length(fd.get(), next.size)) return not_a_disk_file;
    next.identity = *identity;
    m_size += next.size;
    m_pieces.push_back(std::move(next));
    hold(m_pieces.size() - 1, std::move(fd));
    return 0;
  }

  size_t piece_count() const { return m_pieces.size(); }

  void close_all() {
    for (size_t index : m_open) m_pieces[index].fd.reset();
    m_open.clear();
  }

  bool is_open() const override { return !m_pieces.empty(); }
  uint64_t size() const override { return m_size; }
  uint64_t failed_reads() const override { return m_failed_reads; }

  size_t read(uint64_t offset, std::span<uint8_t> buffer) override {
    size_t done = 0;
    while (done < buffer.size() && offset + done < m_size) {
      const size_t index = piece_at(offset + done);
      const size_t got = read_piece(index, offset + done - m_pieces[index].start, buffer.subspan(done));
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

  size_t read_piece(size_t index, uint64_t in_piece, std::span<uint8_t> buffer) {
    piece& p = m_pieces[index];
    if (in_piece >= p.size || (!p.fd.valid() && !reopen(index))) return 0;
    p.last_use = ++m_clock;
    return read_fd_at(p.fd.get(), in_piece, buffer.first(std::min<uint64_t>(buffer.size(), p.size - in_piece)));
  }

  // A piece closed to make room: opened again, and it must still be the
  // file that was recorded when the set was opened.
  bool reopen(size_t index) {
    piece& p = m_pieces[index];
    vk::unique_fd fd;
    if (open_with_room(p.name, fd, false) != 0 || vk::identity_of_fd(fd.get()) != p.identity) return false;
    hold(index, std::move(fd));
    return true;
  }

  // Opens `name` read-only, closing the least recently read piece while
  // the process has no descriptor left; 0 or the errno of the failure.
  int open_with_room(const std::string& name, vk::unique_fd& fd, bool first_time) {
    for (;;) {
      // Opened again, a piece is not recorded a second time; O_NONBLOCK keeps
      // a FIFO put in its place from blocking (its identity then differs).
      fd = first_time ? vk::open_source_file(name)
                      : vk::unique_fd(::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
      if (fd.valid()) return 0;
      const int error = errno;
      if (!out_of_descriptors(error) || m_open.empty()) return error;
      close_least_recent();
    }
  }

  void hold(size_t index, vk::unique_fd fd) {
    if (m_open.size() >= max_open_pieces) close_least_recent();
    m_pieces[index].fd = std::move(fd);
    m_pieces[index].last_use = ++m_clock;
    m_open.push_back(index);
  }

  void close_least_recent() {
    const auto oldest = std::min_element(m_open.begin(), m_open.end(), [this](size_t a, size_t b) {
      return m_pieces[a].last_use < m_pieces[b].last_use;
    });
    m_pieces[*oldest].fd.reset();
    m_open.erase(oldest);
  }

  std::vector<piece> m_pieces;  // in number order, ascending start
  std::vector<size_t> m_open;   // the pieces holding a descriptor
  uint64_t m_size = 0;
  uint64_t m_clock = 0;
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
