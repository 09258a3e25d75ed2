#include "indx/entry_store.h"

#include <gtest/gtest.h>

#include "support/types.h"

namespace {

indx_entry named(uint64_t parent_entry, const char* name, bool valid = true) {
  indx_entry entry;
  entry.name = name;
  entry.is_valid = valid;
  for (size_t i = 0; i < 6; ++i) entry.key[fnf::parent_ref + i] = static_cast<uint8_t>(parent_entry >> (8 * i));
  return entry;
}

// Live entries are reported in the order of their key text, parent number
// zero-filled to ten digits, "_", lower-cased name; keys compare as that text
// would, also where a number outgrows the ten digits or a name holds "_"
// and digits, and of entries under one key the first found stays live.
TEST(valid_store, orders_as_the_key_text_and_keeps_the_first_of_a_key) {
  const std::vector<std::pair<uint64_t, const char*>> keys = {
      {5, "b"},           {5, "a_1"},           {12'345'678'901, "a"}, {5, "A"},
      {9'999'999'999, "z"}, {10'000'000'000, "a"}, {5, ""},              {1'234'567'890, "zz"},
      {99'999'999'999, "a"}, {0, "a"},             {6, "a"},             {5, "a"}};
  entry_stores stores;
  for (const auto& [parent, name] : keys) stores.add_valid(named(parent, name));
  ASSERT_EQ(stores.first_valid()->name, "a");  // parent 0
  stores.seal();
  std::vector<std::string> texts;
  for (const uint32_t number : stores.valid.numbers()) {
    const indx_entry& entry = stores.entries[number];
    texts.push_back(valid_key_text(mft_entry_of(entry.parent_ref()), entry.name));
  }
  EXPECT_TRUE(std::is_sorted(texts.begin(), texts.end()));
  EXPECT_EQ(texts.size(), keys.size() - 1);
  EXPECT_EQ(stores.entries[*stores.valid.find(make_mft_ref(5, 1), "a", stores.entries)].name, "A");
  EXPECT_FALSE(stores.valid.find(make_mft_ref(5, 1), "c", stores.entries));
}

// Entries found in released records are slack, after the slack already held.
TEST(entry_stores, released_entries_join_the_slack) {
  entry_stores stores, released;
  stores.add_valid(named(5, "kept.txt"));
  stores.add_slack(named(5, "carved.txt", false));
  released.add_valid(named(5, "gone.txt"));
  stores.take_as_slack(released);
  ASSERT_EQ(stores.entries.size(), 3u);
  EXPECT_EQ(stores.slack, (std::vector<uint32_t>{1, 2}));
  EXPECT_FALSE(stores.entries[2].is_valid);
  EXPECT_TRUE(released.entries.empty());
}

}  // namespace
