// The directory work queue of volume mode, and the small text rules around it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

struct dir_work_item {
  uint64_t entry = 0;  // MFT entry number of the directory; the queue key
  uint16_t reference_sequence = 0;  // from the reference it was found through
  uint16_t record_sequence = 0;  // stored in its MFT record now
  std::string path;  // always ends in a backslash
  uint32_t level = 0;  // depth below the start directory
  // Queued without its path and sequences, which the queue's resolver fills
  // in when the item is needed (see dir_queue::resolve_with).
  bool path_pending = false;
  // When set, `path` holds only this directory's own part, to follow its
  // parent's path: the sub-directories found in one directory share that
  // directory's path while they wait, instead of a copy each.
  std::shared_ptr<const std::string> parent_path{};
};

// Fills in the path and both sequences of an item queued with path_pending.
using dir_path_resolver = std::function<void(dir_work_item&)>;

// Directories found by the whole-volume scan carry this level, so that no
// recursion starts from them: the scan already lists every directory.
constexpr uint32_t scanned_directory_level = 999999;

// Directories are taken in ascending MFT entry order, not in the order they
// were found, and each entry number is queued once.
class dir_queue {
 public:
  // Queues the item; when its entry is already waiting, the waiting item is
  // kept but takes the new path if its own is shorter.  An entry already
  // analysed in this run is not queued again (a directory is analysed once).
  void add(const dir_work_item& item);
  // The next item, its path resolved.
  std::optional<dir_work_item> take_next();
  bool empty() const { return m_waiting.empty(); }

  // Items may be queued with their paths pending: a whole-volume run queues
  // every directory before the first is analysed, and the paths of a deep
  // chain of directories summed grow with the square of its depth.  Each
  // path is then built when its item is taken (or when a second item for the
  // same entry needs its length), and only one lives at a time.
  void resolve_with(dir_path_resolver resolver) { m_resolver = std::move(resolver); }

 private:
  void resolve(dir_work_item& item) const;

  std::map<uint64_t, dir_work_item> m_waiting;
  std::set<uint64_t> m_taken;
  dir_path_resolver m_resolver;
};

// Appends a backslash unless the path already ends in one.
std::string with_trailing_backslash(std::string path);

// Normalises a -path value before it is resolved: a trailing backslash is
// dropped (a root such as "c:\" becomes "\"), a lone double quote left by the
// shell from a quoted root becomes "\", and doubled backslashes collapse.
std::string normalise_target_path(std::string path);

// The status line text for a directory: "parsing: " and the path, cut to
// about 50 characters from the end for long paths.
std::string parsing_status_text(const std::string& path);
