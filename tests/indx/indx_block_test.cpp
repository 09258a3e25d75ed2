#include "indx/indx_block.h"

#include <gtest/gtest.h>

#include <set>

#include "indx_test_builder.h"
#include "test_support.h"

namespace {

using indx_test::entry_plan;
using indx_test::record_builder;
namespace fmt = indx_format;

std::multiset<std::string> names(const entry_report& report, bool valid) {
  std::multiset<std::string> found;
  for (const auto& [time, entry] : report.by_time)
    if (entry.is_valid == valid) found.insert(entry.name);
  return found;
}

// One on-disk record per name, each with one live entry of directory 7.
std::vector<uint8_t> block_of(std::initializer_list<std::string> live_names) {
  std::vector<uint8_t> block;
  for (const std::string& name : live_names) {
    record_builder record;
    record.add_live({.name = name, .parent = make_mft_ref(7, 1)});
    record.end_live();
    const std::vector<uint8_t> bytes = record.on_disk();
    block.insert(block.end(), bytes.begin(), bytes.end());
  }
  return block;
}

TEST(indx_block, record_loop) {
  struct loop_case {
    size_t size;
    size_t damaged_at;
    std::multiset<std::string> valid;
  };
  const std::string long_name(200, 'q');  // record bytes 64 to 552: crosses a sector end
  for (const loop_case& c :
       {loop_case{15, 0, {}}, loop_case{4095, 0, {}}, loop_case{3 * 4096, 0, {"zero.txt", "one.txt", long_name}},
        loop_case{2 * 4096 + 100, 0, {"zero.txt", "one.txt"}},
        loop_case{3 * 4096, 4096 + 1, {"zero.txt"}},      // second signature damaged
        loop_case{3 * 4096, 4096 + 25, {"zero.txt"}}}) {  // second node unusable
    std::vector<uint8_t> block = block_of({"zero.txt", "one.txt", long_name});
    block.resize(c.size);
    if (c.damaged_at != 0) block[c.damaged_at] = 0xF0;
    entry_report report;
    EXPECT_EQ(analyse_indx_block(block, 0, ~0ULL, report), !c.valid.empty()) << c.size;
    EXPECT_EQ(names(report, true), c.valid) << c.size << " " << c.damaged_at;
  }
  std::vector<uint8_t> block = block_of({"zero.txt", "one.txt"});
  entry_report report;
  ASSERT_TRUE(analyse_indx_block(block, 0, ~0ULL, report));
  for (const auto& [time, entry] : report.by_time)
    EXPECT_EQ(entry.offset, (entry.name == "one.txt" ? 4096 : 0) + 24 + record_builder::first_entry);
}

// Record 0 belongs to directory 7 at sequence 3; record 1's first live entry
// has parent 2 at sequence 4.  Directory 7, once learned, is kept; its
// sequence number comes from each record's first live entry.
TEST(indx_block, directory_is_learned_once_and_its_sequence_per_record) {
  std::vector<uint8_t> block;
  const auto add_record = [&block](mft_ref live_parent, std::initializer_list<entry_plan> stale) {
    record_builder record;
    record.add_live({.name = "live.txt", .parent = live_parent});
    size_t at = record.end_live() + 200;
    for (entry_plan plan : stale) {
      plan.created = plan.modified = plan.changed = plan.accessed = 0;  // found by the reference alone
      record.plant(at, indx_test::entry_bytes(plan)), at += 200;
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

// Records cut from volumes made by mkntfs and changed through ntfs-3g; the
// offsets of the deleted names come from the fixture scripts' own probe.
TEST(indx_block, fixtures_made_by_real_ntfs_code) {
  struct fixture_case {
    const char* file;
    size_t valid;
    std::vector<std::pair<std::string, uint64_t>> deleted;
  };
  // dir_many has 201 live entries, but a 592-byte entry (a 255-unit name)
  // ends the valid walk of its second record: the six behind it are carved.
  for (const fixture_case& c :
       {fixture_case{"dir_small", 14, {{"龍の下書き.txt", 1744}, {"龍の最終稿.txt", 1848}}},
        fixture_case{"root_dir", 27, {{"~root deleted, one.txt", 3104}, {"~root deleted two.txt", 2976}}},
        fixture_case{"dir_many",
                     195,
                     {{"~deleted|pipe.txt", 9 * 4096 + 3552},
                      {"budget 001_v.txt", 2472},
                      {"forecast 215__vvvvvvvvvvvv.txt", 12 * 4096 + 1808}}}}) {
    slix_test::temp_dir temp;
    ASSERT_TRUE(slix_test::gunzip(slix_test::fixture(std::string(c.file) + ".indx.gz"), temp.file("x.indx")));
    std::vector<uint8_t> block = slix_test::read_file(temp.file("x.indx"));
    entry_report report;
    ASSERT_TRUE(analyse_indx_block(block, 0, ~0ULL, report));
    EXPECT_EQ(names(report, true).size(), c.valid) << c.file;
    for (const auto& [name, offset] : c.deleted) {
      size_t found = 0;
      for (const auto& [time, e] : report.by_time)
        found += e.name == name && e.offset == offset && e.annotation == "deleted";
      EXPECT_EQ(found, 1u) << c.file << ": " << name;
    }
  }
}

// A disk made on Windows 10 (see the shared test data's README): partition
// at byte 0x10000, 2048-byte clusters; istat shows the $I30 allocation of
// test_dir (MFT entry 39) at cluster 1811.
TEST(indx_block, windows_made_directory_index) {
  SLIX_REQUIRE_SHARED_TESTDATA(shared);
  slix_test::temp_dir temp;
  ASSERT_TRUE(slix_test::gunzip(shared + "/ntfs_index.raw.gz", temp.file("disk.raw")));
  const std::vector<uint8_t> disk = slix_test::read_file(temp.file("disk.raw"));
  constexpr size_t allocation = 0x10000 + 1811 * 2048;
  ASSERT_GE(disk.size(), allocation + fmt::record_size);
  std::vector<uint8_t> block(disk.begin() + allocation, disk.begin() + allocation + fmt::record_size);
  entry_report report;
  ASSERT_TRUE(analyse_indx_block(block, 0, ~0ULL, report));
  EXPECT_EQ(names(report, true),
            (std::multiset<std::string>{"111111111111111.txt", "222222222222222.txt", "333333333333333.txt",
                                        "444444444444444.txt", "555555555555555.txt", "666666666666666.txt",
                                        "777777777777777.txt", "999999999999999.txt", "AAAAAAAAAAA.txt"}));
  EXPECT_EQ(names(report, false),
            (std::multiset<std::string>{"AAAAAAAAAAA.txt", "AAAAAAAAAAA.txt", "BBBBBBBBBBBBB-del.txt"}));
}

}  // namespace
