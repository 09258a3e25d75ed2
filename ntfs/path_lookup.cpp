#include "ntfs/path_lookup.h"

#include <deque>
#include <optional>
#include <vector>

#include "ntfs/attributes.h"
#include "ntfs/directory_tree.h"
#include "ntfs/mft_format.h"
#include "ntfs/mft_record.h"
#include "ntfs/name_folding.h"
#include "ntfs/ntfs.h"
#include "ntfs/reparse_point.h"
#include "ntfs/stream_reader.h"
#include "support/run_log.h"
#include "support/vk_string.h"

namespace {

// A chain of links longer than this is taken to be a loop.
constexpr int max_link_restarts = 32;
// A reparse point's data never exceeds 16 KiB.
constexpr uint64_t max_reparse_bytes = 16 * 1024;

std::deque<std::string> split_path(const std::string& path, char separator) {
  std::deque<std::string> segments;
  size_t start = 0;
  while (start <= path.size()) {
    size_t end = path.find(separator, start);
    if (end == std::string::npos) end = path.size();
    if (end > start) segments.push_back(path.substr(start, end - start));
    start = end + 1;
  }
  return segments;
}

// What one lookup works with: the volume, and the reader of a directory's
// live entries that the caller supplies.
struct lookup {
  CNtfs& volume;
  const children_reader& read_children;
};

// The volume's case folding, read once.
const name_folding& folding(CNtfs& volume) {
  std::optional<name_folding>& known = volume.caches().folding;
  if (!known) known = folding_of_volume(volume);
  return *known;
}

const std::vector<directory_child>* children_of(const lookup& at, uint64_t directory) {
  auto& cache = at.volume.caches().children;
  if (const auto it = cache.find(directory); it != cache.end()) {
    vk::log_line("info: cache lookup");
    return &it->second;
  }
  vk::log_line("info: get children nodes");
  std::vector<directory_child> children;
  if (!at.read_children(directory, children)) {
    vk::log_line("err: no child nodes");
    return nullptr;
  }
  vk::log_line("info: # children [%d]", static_cast<int>(children.size()));
  // Each directory's names are folded once, when they are cached.
  const name_folding& fold = folding(at.volume);
  for (directory_child& child : children) child.folded_name = fold.fold(child.name);
  return &cache.emplace(directory, std::move(children)).first->second;
}

// An exact match wins over one that matches only once folded, so that POSIX
// names differing in case resolve as written.
const directory_child* find_child(const std::vector<directory_child>& children, const std::u16string& wanted,
                                  const std::string& name) {
  const directory_child* folded_match = nullptr;
  for (const directory_child& child : children) {
    if (child.name == name) return &child;
    if (folded_match == nullptr && child.folded_name == wanted) folded_match = &child;
  }
  return folded_match;
}

// The walk state: the directories descended through (the root first) and
// the names that led to each.
struct walk_state {
  std::vector<uint64_t> entries{root_directory_entry};
  std::vector<std::string> names;
  std::deque<std::string> todo;
};

// Follows a link found at segment `link_name`: an absolute target restarts
// from the root with the target's segments; a relative one restarts from
// the root with the path of the directory holding the link in front.
void restart_at_link(walk_state& walk, const link_target& target) {
  std::deque<std::string> segments;
  if (target.relative) segments.assign(walk.names.begin(), walk.names.end());
  for (std::string& segment : split_path(target.path, '\\')) segments.push_back(std::move(segment));
  segments.insert(segments.end(), walk.todo.begin(), walk.todo.end());
  walk.todo = std::move(segments);
  walk.entries.assign(1, root_directory_entry);
  walk.names.clear();
  vk::log_line("info: restart segments [link]");
}

enum class step_result { descended, restarted, failed };

step_result take_segment(const lookup& at, walk_state& walk, const std::string& segment) {
  CNtfs& volume = at.volume;
  const std::vector<directory_child>* children = children_of(at, walk.entries.back());
  if (children == nullptr) return step_result::failed;
  vk::log_line("info: get children names");
  const directory_child* child = find_child(*children, folding(at.volume).fold(segment), segment);
  if (child == nullptr) {
    vk::log_line(children->empty() ? "err: no child names" : "info: none found");
    return step_result::failed;
  }
  mft_record record;
  if (!load_mft_record(volume, child->entry, record)) {
    vk::log_line("err: readFR: inode 0x%llx", static_cast<unsigned long long>(child->entry));
    return step_result::failed;
  }
  link_target target;
  const mft_attribute* reparse = find_attribute(record.attributes, mft_format::type_reparse_point, "");
  if (reparse != nullptr && read_link_target(attribute_value(volume, *reparse, max_reparse_bytes), target)) {
    restart_at_link(walk, target);
    return step_result::restarted;
  }
  vk::log_line("info: inode found for seg: %s : 0x%llx", segment.c_str(), static_cast<unsigned long long>(child->entry));
  walk.entries.push_back(child->entry);
  walk.names.push_back(child->name);
  return step_result::descended;
}

bool walk_segments(const lookup& at, walk_state& walk) {
  int restarts = 0;
  while (!walk.todo.empty()) {
    std::string segment = walk.todo.front();
    walk.todo.pop_front();
    segment = segment.substr(0, segment.find(':'));
    vk::log_line("seg: %s", segment.c_str());
    if (segment.empty() || segment == ".") continue;
    if (segment == "..") {
      if (walk.entries.size() > 1) {
        walk.entries.pop_back();
        walk.names.pop_back();
      }
      continue;
    }
    const step_result step = take_segment(at, walk, segment);
    if (step == step_result::failed) return false;
    if (step == step_result::restarted && ++restarts > max_link_restarts) return false;
  }
  return true;
}

}  // namespace

bool entry_of_path(CNtfs& volume, const std::string& path, const children_reader& read_children, uint64_t& entry,
                   uint16_t& seq) {
  if (path.empty()) return false;
  vk::log_line("anal: %s", path.c_str());
  const char separator = path.find('/') != std::string::npos ? '/' : '\\';
  const bool rooted = !path.empty() && path[0] == separator;
  if (rooted) vk::log_line("root dir");
  walk_state walk;
  walk.todo = split_path(path, separator);
  if (walk.todo.empty()) {
    vk::log_line("path empty");
    if (!rooted) return false;
  } else if (walk.todo.front().size() >= 2 && walk.todo.front()[1] == ':') {
    walk.todo.pop_front();
  }
  if (!walk_segments(lookup{volume, read_children}, walk)) {
    vk::log_line("inode not found for %s", path.c_str());
    return false;
  }
  entry = walk.entries.back();
  // The path resolved; a record that cannot be read shows when it is analysed.
  if (!record_sequence(volume, entry, seq)) seq = 0;
  return true;
}
