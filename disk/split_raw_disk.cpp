// A raw image split into numbered pieces (name.001, name.002, ... or from
// name.000), as many imagers write it: read as one disk, the pieces laid end
// to end in number order.  The pieces carry no signature, so they are found
// by their names: the piece named on the command line, then each next number
// for as long as it exists.  A higher-numbered piece after a missing one
// means a hole in the set, which is refused with the missing piece's name.
#include "disk/image_formats.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "disk/image_disk.h"
#include "support/check.h"

namespace {

constexpr size_t number_digits = 3;

struct piece_name {
  std::string stem;  // through the dot
  unsigned number = 0;
  std::string with(unsigned n) const {
    std::string digits = std::to_string(n);
    return stem + std::string(digits.size() < number_digits ? number_digits - digits.size() : 0, '0') + digits;
  }
};

std::optional<piece_name> parse_piece_name(const std::string& path) {
  if (path.size() < number_digits + 2 || path[path.size() - number_digits - 1] != '.') return std::nullopt;
  piece_name name{path.substr(0, path.size() - number_digits), 0};
  const char* digits = path.data() + name.stem.size();
  const auto [end, error] = std::from_chars(digits, path.data() + path.size(), name.number);
  if (error != std::errc() || end != path.data() + path.size()) return std::nullopt;
  return name;
}

// The highest piece number in the folder with the same stem.
unsigned highest_piece(const piece_name& first) {
  namespace fs = std::filesystem;
  const fs::path stem(first.stem);
  const fs::path folder = stem.has_parent_path() ? stem.parent_path() : fs::path(".");
  unsigned highest = first.number;
  std::error_code error;
  for (const auto& item : fs::directory_iterator(folder, error)) {
    const std::optional<piece_name> other = parse_piece_name((folder / item.path().filename()).string());
    if (other && fs::path(other->stem).filename() == stem.filename() && other->number > highest) highest = other->number;
  }
  return highest;
}

class split_raw_disk final : public disk {
 public:
  explicit split_raw_disk(std::vector<std::unique_ptr<image_disk>> pieces) : m_pieces(std::move(pieces)) {
    for (const auto& piece : m_pieces) {
      m_starts.push_back(m_size);
      m_size += piece->size();
    }
  }

  bool is_open() const override { return true; }
  uint64_t size() const override { return m_size; }

  size_t read(uint64_t offset, std::span<uint8_t> buffer) override {
    size_t done = 0;
    while (done < buffer.size() && offset + done < m_size) {
      const size_t index = piece_at(offset + done);
      const uint64_t in_piece = offset + done - m_starts[index];
      const size_t got = m_pieces[index]->read(in_piece, buffer.subspan(done));
      if (got == 0) break;
      done += got;
    }
    return done;
  }

 private:
  size_t piece_at(uint64_t offset) const {
    const auto after = std::upper_bound(m_starts.begin(), m_starts.end(), offset);
    SLIX_CHECK(after != m_starts.begin());
    return static_cast<size_t>(after - m_starts.begin() - 1);
  }

  std::vector<std::unique_ptr<image_disk>> m_pieces;
  std::vector<uint64_t> m_starts;
  uint64_t m_size = 0;
};

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
  std::vector<std::unique_ptr<image_disk>> pieces;
  unsigned number = first.number;
  for (;; ++number) {
    auto piece = std::make_unique<image_disk>(first.with(number));
    if (!piece->is_open()) break;
    pieces.push_back(std::move(piece));
  }
  container_opening opening;
  if (pieces.empty()) {
    opening.fault = {container_fault_kind::cannot_open, container_kind::split_raw, path, {}, {}, 0};
  } else if (highest_piece(first) > number) {
    opening.fault = {container_fault_kind::missing_segment, container_kind::split_raw, path, first.with(number), {}, 0};
  } else {
    opening.source = std::make_unique<split_raw_disk>(std::move(pieces));
  }
  return opening;
}
