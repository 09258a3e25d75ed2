#include "indx/entry_store.h"

#include <gtest/gtest.h>

namespace {

// Live entries are reported in the order of their key text, parent number
// zero-filled to ten digits, "_", lower-cased name; the key compares as that
// text would, also where a number outgrows the ten digits or a name holds
// "_" and digits.
TEST(valid_key, orders_as_its_text) {
  const std::vector<valid_key> keys = {
      {5, "a"},          {5, "a_1"},           {5, "b"},          {5, ""},
      {6, "a"},          {9'999'999'999, "z"}, {10'000'000'000, "a"}, {12'345'678'901, "a"},
      {1'234'567'890, "zz"}, {99'999'999'999, "a"}, {123'456'789'012, "a"}, {0, "a"}};
  for (const valid_key& a : keys) {
    for (const valid_key& b : keys) {
      EXPECT_EQ(a < b, a.text() < b.text()) << a.text() << " / " << b.text();
    }
  }
}

// Entries found in released records are slack, after the slack already held.
TEST(entry_stores, released_entries_join_the_slack) {
  indx_entry live, carved, released_live;
  live.name = "kept.txt";
  carved.name = "carved.txt";
  released_live.name = "gone.txt";
  released_live.is_valid = true;
  entry_stores stores, released;
  stores.add_valid(std::move(live));
  stores.add_slack(std::move(carved));
  released.add_valid(std::move(released_live));
  stores.take_as_slack(released);
  ASSERT_EQ(stores.entries.size(), 3u);
  EXPECT_EQ(stores.slack, (std::vector<uint32_t>{1, 2}));
  EXPECT_FALSE(stores.entries[2].is_valid);
  EXPECT_TRUE(released.entries.empty());
  indx_entry again;
  again.name = "KEPT.txt";
  stores.add_valid(std::move(again));
  EXPECT_EQ(stores.entries.size(), 3u);  // a second entry under a key is not stored
}

}  // namespace
