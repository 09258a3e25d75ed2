#include "disk/vmdk.h"

#include <algorithm>

#include "disk/vmdk_chain.h"
#include "disk/vmdk_link.h"
#include "support/check.h"
#include "support/vk_string.h"

namespace {

// A run of file bytes that will be fetched with one read: adjacent grains
// that also lie back to back in the same file are coalesced.
struct pending_read {
  const vmdk_file* file = nullptr;
  uint64_t file_pos = 0;
  size_t at = 0;  // where the run goes in the caller's buffer
  size_t length = 0;

  bool continues_with(const vmdk_piece& piece) const {
    return file != nullptr && piece.from == vmdk_piece::source::file && piece.file == file &&
           piece.file_pos == file_pos + length;
  }
  bool flush(std::span<uint8_t> buffer) const {
    return file == nullptr || file->read_zero_filled(file_pos, buffer.subspan(at, length));
  }
};

class vmdk_chain_disk final : public disk {
 public:
  explicit vmdk_chain_disk(std::vector<std::unique_ptr<vmdk_link>> newest_first)
      : m_chain(std::move(newest_first)), m_size(m_chain.front()->size()) {}

  bool is_open() const override { return true; }
  uint64_t size() const override { return m_size; }
  std::vector<source_warning> warnings() const override {
    std::vector<source_warning> all;
    for (const auto& link : m_chain) {
      const std::vector<source_warning> own = link->warnings();
      all.insert(all.end(), own.begin(), own.end());
    }
    return all;
  }

  size_t read(uint64_t offset, std::span<uint8_t> buffer) override {
    if (offset >= m_size) return 0;
    const size_t total = static_cast<size_t>(std::min<uint64_t>(buffer.size(), m_size - offset));
    pending_read pending;
    for (size_t done = 0; done < total;) {
      const vmdk_piece piece = locate(offset + done, total - done);
      SLIX_CHECK(piece.length > 0 && piece.length <= total - done);
      const auto length = static_cast<size_t>(piece.length);
      if (pending.continues_with(piece)) {
        pending.length += length;
      } else {
        if (!pending.flush(buffer)) return pending.at;
        pending = pending_read();
        const auto piece_bytes = buffer.subspan(done, length);
        if (piece.from == vmdk_piece::source::file) {
          pending = {piece.file, piece.file_pos, done, length};
        } else if (piece.from == vmdk_piece::source::compressed) {
          if (!piece.extent->read_compressed(piece.file_pos, piece.in_grain, piece_bytes)) return done;
        } else {
          std::fill(piece_bytes.begin(), piece_bytes.end(), uint8_t{0});
        }
      }
      done += length;
    }
    return pending.flush(buffer) ? total : pending.at;
  }

 private:
  // The first disk from the newest child down that holds `offset`.  A piece
  // found in a parent is cut where a newer disk's absent range ends, since a
  // newer disk may hold the bytes after it.
  vmdk_piece locate(uint64_t offset, uint64_t limit) const {
    for (const auto& link : m_chain) {
      vmdk_piece piece = link->locate(offset);
      piece.length = std::min(piece.length, limit);
      if (piece.from != vmdk_piece::source::absent) return piece;
      limit = piece.length;
    }
    vmdk_piece zeros;
    zeros.from = vmdk_piece::source::zeros;
    zeros.length = limit;
    return zeros;
  }

  std::vector<std::unique_ptr<vmdk_link>> m_chain;
  uint64_t m_size;
};

bool open_links(const std::vector<std::string>& names, std::vector<std::unique_ptr<vmdk_link>>& links,
                vmdk_fault& fault) {
  for (const std::string& name : names) {
    std::string why;
    int error = 0;
    std::unique_ptr<vmdk_link> link = vmdk_link::open(name, why, error);
    if (!link) {
      fault = {vmdk_fault_kind::cannot_open, name, why, {}, {}, error};
      return false;
    }
    links.push_back(std::move(link));
  }
  return true;
}

vmdk_opening assemble(const std::vector<std::string>& names) {
  vmdk_opening opening;
  std::vector<std::unique_ptr<vmdk_link>> links;
  if (!open_links(names, links, opening.fault)) return opening;
  std::vector<vmdk_chain_member> members;
  for (const auto& link : links) members.push_back({link->descriptor().cid, link->descriptor().parent_cid});
  const vmdk_chain_order order = order_vmdk_chain(members);
  if (order.fault == vmdk_chain_fault::missing_parent) {
    const vmdk_descriptor& orphan = links[order.orphan]->descriptor();
    opening.fault = {vmdk_fault_kind::missing_parent, links[order.orphan]->name(), {}, orphan.parent_cid,
                     orphan.parent_hint, 0};
    return opening;
  }
  if (order.fault == vmdk_chain_fault::cid_errors) {
    opening.fault.kind = vmdk_fault_kind::cid_errors;
    return opening;
  }
  std::vector<std::unique_ptr<vmdk_link>> chain;
  for (size_t index : order.newest_first) chain.push_back(std::move(links[index]));
  opening.source = std::make_unique<vmdk_chain_disk>(std::move(chain));
  return opening;
}

}  // namespace

std::vector<std::string> split_vmdk_list(const std::string& list) {
  std::vector<std::string> names;
  std::string folder;
  size_t pos = 0;
  while (pos <= list.size()) {
    size_t bar = list.find('|', pos);
    if (bar == std::string::npos) bar = list.size();
    std::string name = vk::trim(std::string_view(list).substr(pos, bar - pos), " \t");
    pos = bar + 1;
    if (name.empty()) continue;
    if (names.empty()) {
      const size_t slash = name.rfind('/');
      if (slash != std::string::npos) folder = name.substr(0, slash + 1);
    } else if (name.find('/') == std::string::npos) {
      name = folder + name;
    }
    names.push_back(std::move(name));
  }
  return names;
}

vmdk_opening open_vmdk_source(const std::string& list) {
  const std::vector<std::string> names = split_vmdk_list(list);
  if (names.empty()) return {};
  return assemble(names);
}
