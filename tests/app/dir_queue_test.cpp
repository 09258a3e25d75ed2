#include "app/dir_queue.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

namespace {

dir_work_item item(uint64_t entry, const std::string& path, uint32_t level = 0) {
  return dir_work_item{entry, 1, 1, path, level};
}

TEST(dir_queue, takes_ascending_entries_once_and_keeps_the_longer_path) {
  dir_queue queue;
  queue.add(item(40, "\\b\\"));
  queue.add(item(35, "\\a\\"));
  queue.add(item(40, "\\longer\\b\\"));
  queue.add(item(40, "\\c\\"));  // shorter than the waiting path: ignored
  auto first = queue.take_next();
  ASSERT_TRUE(first);
  EXPECT_EQ(first->entry, 35u);
  queue.add(item(30, "\\found-later\\"));  // a lower entry found later is taken first
  EXPECT_EQ(queue.take_next()->entry, 30u);
  auto second = queue.take_next();
  EXPECT_EQ(second->entry, 40u);
  EXPECT_EQ(second->path, "\\longer\\b\\");
  queue.add(item(35, "\\again\\"));  // already analysed
  EXPECT_TRUE(queue.empty());
  EXPECT_FALSE(queue.take_next());
}

// Whole-volume items are queued without paths; each is built when taken, or
// when a second item for the same entry must be compared with it.
TEST(dir_queue, builds_pending_paths_when_needed) {
  dir_queue queue;
  std::vector<uint64_t> resolved;
  queue.resolve_with([&resolved](dir_work_item& item) {
    resolved.push_back(item.entry);
    item.path = "\\dir" + std::to_string(item.entry) + "\\";
    item.record_sequence = 7;
  });
  for (uint64_t entry : {70, 60, 50}) {
    dir_work_item pending{entry, 0, 0, "", scanned_directory_level};
    pending.path_pending = true;
    queue.add(pending);
  }
  EXPECT_TRUE(resolved.empty());
  queue.add(item(60, "\\a\\"));  // shorter than "\dir60\": the built path stays
  queue.add(item(70, "\\a longer path\\"));
  EXPECT_EQ(resolved, (std::vector<uint64_t>{60, 70}));
  const auto first = queue.take_next();
  EXPECT_EQ(first->path, "\\dir50\\");
  EXPECT_EQ(first->record_sequence, 7);
  EXPECT_FALSE(first->path_pending);
  EXPECT_EQ(queue.take_next()->path, "\\dir60\\");
  EXPECT_EQ(queue.take_next()->path, "\\a longer path\\");
  EXPECT_EQ(resolved, (std::vector<uint64_t>{60, 70, 50}));
}

// Sub-directories share their parent's path while they wait; a taken item,
// and one compared with a second item for its entry, has its whole path.
TEST(dir_queue, joins_a_shared_parent_path_when_needed) {
  dir_queue queue;
  const auto parent = std::make_shared<const std::string>("\\deep\\parent\\");
  for (const auto& [entry, own] : std::vector<std::pair<uint64_t, std::string>>{{80, "b\\"}, {70, "a\\"}, {90, ""}}) {
    dir_work_item child{entry, 1, 1, own, 2};
    child.parent_path = parent;
    queue.add(child);
  }
  queue.add(item(80, "\\x\\"));  // shorter than "\deep\parent\b\": the shared path stays
  EXPECT_EQ(queue.take_next()->path, "\\deep\\parent\\a\\");
  const auto second = queue.take_next();
  EXPECT_EQ(second->path, "\\deep\\parent\\b\\");
  EXPECT_FALSE(second->parent_path);
  EXPECT_EQ(queue.take_next()->path, "\\deep\\parent\\");  // the "." entry
}

// The status line shows only on a terminal, out of reach of the golden cases.
TEST(status_text, long_paths_are_cut_at_a_backslash) {
  EXPECT_EQ(parsing_status_text("\\short\\"), "parsing: \\short\\");
  const std::string deep = "\\" + std::string(60, 'a') + "\\leaf\\";
  EXPECT_EQ(parsing_status_text(deep), "parsing: ...\\leaf\\");
  const std::string flat(70, 'x');
  EXPECT_EQ(parsing_status_text(flat), "parsing: " + std::string(50, 'x'));
}

}  // namespace
