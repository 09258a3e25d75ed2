#include "app/dir_queue.h"

#include "support/check.h"
#include "support/vk_string.h"

void dir_queue::resolve(dir_work_item& item) const {
  if (item.parent_path) {
    item.path.insert(0, *item.parent_path);
    item.parent_path.reset();
  }
  if (!item.path_pending) return;
  SLIX_CHECK(m_resolver != nullptr);
  m_resolver(item);
  item.path_pending = false;
}

void dir_queue::add(const dir_work_item& item) {
  if (m_taken.count(item.entry)) return;
  const auto [it, inserted] = m_waiting.emplace(item.entry, item);
  if (inserted) return;
  dir_work_item offered = item;
  resolve(offered);
  resolve(it->second);
  if (it->second.path.size() < offered.path.size()) it->second.path = std::move(offered.path);
}

std::optional<dir_work_item> dir_queue::take_next() {
  if (m_waiting.empty()) return std::nullopt;
  auto node = m_waiting.extract(m_waiting.begin());
  m_taken.insert(node.key());
  resolve(node.mapped());
  return std::move(node.mapped());
}

std::string with_trailing_backslash(std::string path) {
  if (path.empty() || path.back() != '\\') path.push_back('\\');
  return path;
}

std::string normalise_target_path(std::string path) {
  if (!path.empty() && path.back() == '\\') {
    if (path.size() - 1 <= 2) {
      path = "\\";
    } else {
      path.pop_back();
    }
  }
  if (path == "\"") path = "\\";
  while (path.find("\\\\") != std::string::npos) path = vk::replace_all(path, "\\\\", "\\");
  return path;
}

std::string parsing_status_text(const std::string& path) {
  constexpr size_t shown = 50;
  if (path.size() < shown + 1) return "parsing: " + path;
  // The last backslash before the final two characters starts the part shown.
  const size_t cut = path.rfind('\\', path.size() - 3);
  if (cut == std::string::npos) return "parsing: " + path.substr(0, shown);
  return "parsing: ...\\" + path.substr(cut + 1, shown);
}
