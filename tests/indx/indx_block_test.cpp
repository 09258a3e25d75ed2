#include "indx/indx_block.h"

#include <gtest/gtest.h>

#include <set>

#include "byte_builder.h"
#include "test_support.h"

namespace {

using namespace build;

std::multiset<std::string> names(const entry_report& report, bool valid) {
  std::multiset<std::string> found;
  for (const indx_entry* entry : report.in_time_order())
    if (entry->is_valid == valid) found.insert(entry->name);
  return found;
}

// One on-disk record per name, each with one live entry of directory 7.
std::vector<uint8_t> block_of(std::initializer_list<std::string> live_names) {
  std::vector<uint8_t> block;
  for (const std::string& name : live_names) {
    indx_record record;
    record.add_live({.name = name, .parent = make_mft_ref(7, 1)});
    record.end_live();
    const std::vector<uint8_t> bytes = record.on_disk();
    block.insert(block.end(), bytes.begin(), bytes.end());
  }
  return block;
}

// Short files, partial records and a "BAAD" record are golden cases; here a
// name across a sector end is fixed up, and a record whose node is unusable
// ends the loop.
TEST(indx_block, record_loop) {
  const std::string long_name(200, 'q');  // record bytes 64 to 552
  std::vector<uint8_t> block = block_of({"zero.txt", long_name, "two.txt"});
  entry_report report;
  ASSERT_TRUE(analyse_indx_block(block, 0, ~0ULL, report));
  EXPECT_EQ(names(report, true), (std::multiset<std::string>{"zero.txt", long_name, "two.txt"}));
  for (const indx_entry* entry : report.in_time_order())
    EXPECT_EQ(entry->offset.bytes % ix::record_size, ix::rec_node_header + indx_record::first_entry);
  block[ix::record_size + ix::rec_node_header + ix::node_entries_offset + 1] = 0xF0;
  entry_report cut;
  ASSERT_TRUE(analyse_indx_block(block, 0, ~0ULL, cut));
  EXPECT_EQ(names(cut, true), std::multiset<std::string>{"zero.txt"});
}

// Record 0 belongs to directory 7 at sequence 3; record 1's first live entry
// has parent 2 at sequence 4.  Directory 7, once learned, is kept; its
// sequence number comes from each record's first live entry.
TEST(indx_block, directory_is_learned_once_and_its_sequence_per_record) {
  std::vector<uint8_t> block;
  const auto add_record = [&block](mft_ref live_parent, std::initializer_list<entry_plan> stale) {
    indx_record record;
    record.add_live({.name = "live.txt", .parent = live_parent});
    size_t at = record.end_live() + 200;
    for (entry_plan plan : stale) {
      plan.created = plan.modified = plan.changed = plan.accessed = 0;  // found by the reference alone
      record.plant(at, index_entry(plan)), at += 200;
    }
    const std::vector<uint8_t> bytes = record.on_disk();
    block.insert(block.end(), bytes.begin(), bytes.end());
  };
  add_record(make_mft_ref(7, 3), {{.name = "old 0.txt", .parent = make_mft_ref(7, 3)}});
  add_record(make_mft_ref(2, 4), {{.name = "old 1.txt", .parent = make_mft_ref(7, 4)},
                                  {.name = "wrong sequence.txt", .parent = make_mft_ref(7, 3)},
                                  {.name = "of directory 2.txt", .parent = make_mft_ref(2, 4)}});
  entry_report learned, given;
  ASSERT_TRUE(analyse_indx_block(block, 0, ~0ULL, learned));
  EXPECT_EQ(names(learned, false), (std::multiset<std::string>{"old 0.txt", "old 1.txt"}));
  ASSERT_TRUE(analyse_indx_block(block, 2, ~0ULL, given));
  EXPECT_EQ(names(given, false), std::multiset<std::string>{"of directory 2.txt"});
}

}  // namespace
