#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <vector>

#include "byte_builder.h"
#include "disk/image_disk.h"
#include "disk/memory_disk.h"
#include "disk/partition_types.h"
#include "disk/vk_disk_structs.h"
#include "disk/volume_content.h"
#include "test_support.h"

namespace {

using namespace build;

struct row_fact {
  uint64_t start;
  uint64_t count;
  std::string name;
};

void expect_rows(const partition_list& rows, const std::vector<row_fact>& expected) {
  ASSERT_EQ(rows.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(rows[i].start_sector, expected[i].start) << "row " << i;
    EXPECT_EQ(rows[i].sector_count, expected[i].count) << "row " << i;
    EXPECT_EQ(partition_type_name(rows[i].type), expected[i].name) << "row " << i;
  }
}

partition_list scan_bytes(const byte_array& disk_bytes, bool search = false, bool expect_ok = true) {
  memory_disk source(disk_bytes);
  partition_list rows;
  EXPECT_EQ(scan_partitions(source, search, rows), expect_ok);
  return rows;
}

// Disks partitioned by Windows and other tools; the rows match the partition
// starts and lengths listed with the images (and by The Sleuth Kit's mmls).
// Table rows come first, in table order, then the gaps; the gaps inside an
// extended partition (its boot records, the space between and after its
// logical partitions) are the ones mmls lists as unallocated.
struct real_disk {
  const char* name;
  std::vector<row_fact> rows;
};

const real_disk real_disks[] = {
    {"mbr-win-512.raw",
     {{128, 16384, "fat"},
      {16512, 16384, "fat"},
      {32896, 16384, "fat"},
      {49280, 471040, "exten"},
      {49408, 16384, "fat"},
      {65920, 16384, "fat"},
      {82432, 16384, "fat"},
      {98944, 417792, "fat"},
      {0, 128, "empty"},
      {49280, 128, "empty"},
      {65792, 128, "empty"},
      {82304, 128, "empty"},
      {98816, 128, "empty"},
      {516736, 7552, "empty"}}},
    {"gpt-512-3p.raw",
     {{0, 1, "gpt"},
      {1, 1, "gpt"},
      {2, 32, "gpt"},
      {34, 31, "gpt"},
      {65, 64, "gpt"},
      {129, 1886, "gpt"},
      {2015, 33, "empty"}}},
    {"mbr-512-p1e2.bin",
     {{1, 1024, "exten"},
      {2, 511, "linux"},
      {514, 511, "linux"},
      {1025, 1023, "linux"},
      {0, 2, "empty"},
      {513, 1, "empty"}}},
    // Only byte 510 carries the signature, so these read as 512-byte-sector
    // disks and their extended records are looked for in 512-byte units.
    {"mbr-4096-p1e0.bin", {{1, 125, "linux"}, {126, 130, "exten"}, {0, 1, "empty"}, {126, 1922, "empty"}}},
    {"mbr-4096-p1e1.bin", {{3, 2, "linux Logical Volume Mgr"}, {8, 4, "exten"}, {0, 3, "empty"}, {5, 2043, "empty"}}},
    {"ntfs_index.raw", {{128, 59392, "ntfs or exfat"}, {0, 128, "empty"}, {59520, 6016, "empty"}}},
    {"ntfs3_attrlist.raw", {{0, 65536, "ntfs or exfat [guess]"}}},
};

class real_disk_scan : public testing::TestWithParam<real_disk> {};

TEST_P(real_disk_scan, lists_the_partitions_and_gaps) {
  SLIX_REQUIRE_SHARED_TESTDATA();
  image_disk source(slix_test::shared_workdir() + "/" + GetParam().name);
  partition_list rows;
  ASSERT_TRUE(scan_partitions(source, false, rows));
  expect_rows(rows, GetParam().rows);
  for (const partition_record& row : rows) EXPECT_EQ(row.sector_size, 512u);
}

INSTANTIATE_TEST_SUITE_P(windows_disks, real_disk_scan, testing::ValuesIn(real_disks), [](const auto& info) {
  std::string name = info.param.name;
  for (char& c : name)
    if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
  return name;
});

class large_sector_mbr : public testing::TestWithParam<uint32_t> {};

TEST_P(large_sector_mbr, is_found_by_where_its_signature_sits) {
  const uint32_t sector = GetParam();
  byte_array disk(16 * sector);
  put(disk, sector - 2, pf::boot_signature, 2);
  mbr_entry(disk, 0, 0, 0x0B, 2, 3);
  const partition_list rows = scan_bytes(disk);
  expect_rows(rows, {{2, 3, "fat32"}, {0, 2, "empty"}, {5, 11, "empty"}});
  EXPECT_EQ(rows[0].byte_offset(), 2u * sector);
}

INSTANTIATE_TEST_SUITE_P(sizes, large_sector_mbr, testing::ValuesIn(pf::large_sector_sizes));

TEST(partition_scan, ext_superblock_makes_one_linux_volume) {
  byte_array disk(64 * 1024);
  put(disk, pf::ext_magic, pf::ext_magic_value, 2);
  const partition_list rows = scan_bytes(disk);
  expect_rows(rows, {{0, 128, "linux [guess]"}});
  EXPECT_EQ(rows[0].kind, row_kind::whole_volume);
}

TEST(partition_scan, extended_chains_are_walked_to_their_end_and_loops_end) {
  byte_array looped(256 * 1024);
  boot_signature(looped, 0);
  mbr_entry(looped, 0, 0, pf::mbr_type_extended_lba, 8, 400);
  mbr_entry(looped, 8 * 512, 0, 0x83, 1, 10);
  mbr_entry(looped, 8 * 512, 1, pf::mbr_type_extended_chs, 0, 400);  // back to the first record
  expect_rows(scan_bytes(looped), {{8, 400, "exten"}, {9, 10, "linux"}, {0, 9, "empty"}, {19, 493, "empty"}});
  byte_array long_chain(512 * 512);
  boot_signature(long_chain, 0);
  mbr_entry(long_chain, 0, 0, pf::mbr_type_extended_chs, 1, 500);
  for (uint32_t i = 0; i < 300; ++i) {
    mbr_entry(long_chain, (1 + i) * 512, 0, 0x83, 0, 1);
    mbr_entry(long_chain, (1 + i) * 512, 1, pf::mbr_type_extended_chs, i + 1, 1);
  }
  size_t logical = 0;
  for (const partition_record& row : scan_bytes(long_chain)) logical += row.kind == row_kind::logical;
  EXPECT_EQ(logical, 300u);
}

// A blank disk and a bare NTFS boot sector shorter than the layout probe are
// golden cases (offset_blank_disk, offset_bare_ntfs_4k).
TEST(partition_scan, refuses_disks_without_partitions) {
  byte_array empty_table(64 * 1024), unknown_type(64 * 1024), far(3 << 20);
  boot_signature(empty_table, 0);
  boot_signature(unknown_type, 0);
  mbr_entry(unknown_type, 0, 0, 0x02, 1, 10);
  const size_t past_first_mib = 0x100200;  // further than the search for a displaced MBR goes
  boot_signature(far, past_first_mib);
  mbr_entry(far, past_first_mib, 0, 0x07, 10, 10);
  for (const byte_array* disk : {&empty_table, &unknown_type, &far}) scan_bytes(*disk, true, false);
}

TEST(partition_scan, hostile_gpt_headers_list_only_what_exists) {
  constexpr size_t header = 512, array = 1024;
  const auto gpt = [](uint32_t count, uint32_t entry_size, uint64_t array_lba) {
    byte_array disk(64 * 1024);
    boot_signature(disk, 0);
    mbr_entry(disk, 0, 0, pf::mbr_type_gpt_protective, 1, 127);
    put(disk, header + pf::gpt_current_lba, 1, 8);
    put(disk, header + pf::gpt_entries_lba, array_lba, 8);
    put(disk, header + pf::gpt_entry_count, count, 4);
    put(disk, header + pf::gpt_entry_size, entry_size, 4);
    const size_t used = array + 5 * pf::gpt_min_entry_size;  // entry 5: its last LBA before its first
    put(disk, used + pf::gpt_type_guid, 0x11, 1);
    put(disk, used + pf::gpt_first_lba, 40, 8);
    put(disk, used + pf::gpt_last_lba, 30, 8);
    return disk;
  };
  const row_fact protective{0, 1, "gpt"}, header_row{1, 1, "gpt"}, array_row{2, 32, "gpt"};
  expect_rows(scan_bytes(gpt(0xFFFFFFFF, 128, 2)),
              {protective, header_row, array_row, {40, 0, "gpt"}, {34, 6, "empty"}, {40, 88, "empty"}});
  for (const auto& disk : {gpt(0xFFFFFFFF, 0xFFFFFFFF, 2), gpt(128, 64, 2), gpt(128, 128, UINT64_MAX / 2)})
    expect_rows(scan_bytes(disk), {protective, header_row, array_row, {34, 94, "empty"}});
}

TEST(partition_types, guess_bit_and_the_families) {
  EXPECT_EQ(partition_type_name(0x8007), "ntfs or exfat [guess]");
  EXPECT_EQ(partition_type_name(0x80FF), "unk [guess]");
  EXPECT_EQ(partition_type_name(0x0107), "unk");  // no guess bit: all 16 bits name the type
  // The families overlap at 0x11, 0x27 and 0x98; 0x8D has a name but is not taken.
  for (uint8_t type : {0x01, 0x05, 0x07, 0x11, 0x27, 0x98, 0xFC}) EXPECT_TRUE(is_known_mbr_type(type)) << int{type};
  for (uint8_t type : {0x00, 0x02, 0x17, 0x8D, 0xEE}) EXPECT_FALSE(is_known_mbr_type(type)) << int{type};
}

// Real FAT12, FAT16, FAT32 and NTFS boot sectors are named by their content
// in the golden case offset_content_guesses; these are the others.
TEST(volume_content, recognises_boot_sectors_and_superblocks) {
  byte_array exfat(512), ext(2048), mbr(512);
  put_text(exfat, bs::oem_name, bs::exfat_oem);
  put(ext, pf::ext_magic, pf::ext_magic_value, 2);
  boot_signature(mbr, 0);
  // mkfs.fat's FAT16 boot sector, claiming fewer sectors than its FATs take.
  const byte_array disk = slix_test::read_file(slix_test::fixture_workdir() + "/offset-content-guess.raw");
  byte_array too_few(disk.begin() + 2560 * 512, disk.begin() + 2561 * 512);
  ASSERT_EQ(classify_volume_content(too_few), volume_content::fat16);
  put(too_few, bs::total_sectors_16, 30, 2);
  const std::pair<std::span<const uint8_t>, volume_content> cases[] = {
      {exfat, volume_content::exfat},
      {ext, volume_content::ext},
      {mbr, volume_content::unknown},
      {too_few, volume_content::unknown},
      {std::span(ext).first(1000), volume_content::unknown}};
  for (size_t i = 0; i < std::size(cases); ++i)
    EXPECT_EQ(classify_volume_content(cases[i].first), cases[i].second) << "case " << i;
}

TEST(volume_content, guesses_only_where_table_and_content_disagree) {
  const struct {
    uint16_t table;
    volume_content content;
    uint16_t listed;
  } cases[] = {
      {0x07, volume_content::ntfs, 0x07},    {0x0B, volume_content::fat32, 0x0B},
      {0x06, volume_content::fat16, 0x06},   {0x07, volume_content::exfat, 0x07},
      {0x07, volume_content::fat32, 0x800B}, {0xEE, volume_content::ntfs, 0x8007},
      {0x83, volume_content::ntfs, 0x8007},  {0x07, volume_content::ext, 0x8083},
      {0xEE, volume_content::unknown, 0xEE},
  };
  for (const auto& c : cases) EXPECT_EQ(type_after_content(c.table, c.content), c.listed) << std::hex << c.table;
}

}  // namespace
