#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <vector>

#include "disk/image_disk.h"
#include "disk/memory_disk.h"
#include "disk/partition_types.h"
#include "disk/vk_disk_structs.h"
#include "disk_test_support.h"

namespace {

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

partition_list scan_bytes(const disk_test::image& img, bool search, bool expect_ok = true) {
  memory_disk source(img.bytes);
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
     {{128, 16384, "fat"}, {16512, 16384, "fat"}, {32896, 16384, "fat"}, {49280, 471040, "exten"},
      {49408, 16384, "fat"}, {65920, 16384, "fat"}, {82432, 16384, "fat"}, {98944, 417792, "fat"},
      {0, 128, "empty"}, {49280, 128, "empty"}, {65792, 128, "empty"}, {82304, 128, "empty"}, {98816, 128, "empty"},
      {516736, 7552, "empty"}}},
    {"gpt-512-3p.raw",
     {{0, 1, "gpt"}, {1, 1, "gpt"}, {2, 32, "gpt"}, {34, 31, "gpt"}, {65, 64, "gpt"}, {129, 1886, "gpt"},
      {2015, 33, "empty"}}},
    {"mbr-512-p1e2.bin",
     {{1, 1024, "exten"}, {2, 511, "linux"}, {514, 511, "linux"}, {1025, 1023, "linux"}, {0, 2, "empty"},
      {513, 1, "empty"}}},
    // Only byte 510 carries the signature, so these read as 512-byte-sector
    // disks and their extended records are looked for in 512-byte units.
    {"mbr-4096-p1e0.bin", {{1, 125, "linux"}, {126, 130, "exten"}, {0, 1, "empty"}, {126, 1922, "empty"}}},
    {"mbr-4096-p1e1.bin",
     {{3, 2, "linux Logical Volume Mgr"}, {8, 4, "exten"}, {0, 3, "empty"}, {5, 2043, "empty"}}},
    {"ntfs_index.raw", {{128, 59392, "ntfs or exfat"}, {0, 128, "empty"}, {59520, 6016, "empty"}}},
    {"ntfs3_attrlist.raw", {{0, 65536, "ntfs or exfat [guess]"}}},
};

class real_disk_scan : public testing::TestWithParam<real_disk> {};

TEST_P(real_disk_scan, lists_the_partitions_and_gaps) {
  SLIX_REQUIRE_SHARED_TESTDATA(dir);
  slix_test::temp_dir tmp;
  image_disk source(disk_test::unpack_shared(dir, tmp, GetParam().name));
  partition_list rows;
  ASSERT_TRUE(scan_partitions(source, false, rows));
  expect_rows(rows, GetParam().rows);
  for (const partition_record& row : rows) EXPECT_EQ(row.sector_size, 512u);
}

INSTANTIATE_TEST_SUITE_P(shared, real_disk_scan, testing::ValuesIn(real_disks), [](const auto& info) {
  std::string name = info.param.name;
  for (char& c : name)
    if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
  return name;
});

TEST(partition_scan, gpt_rows_carry_the_guessed_type) {
  slix_test::temp_dir tmp;
  ASSERT_TRUE(slix_test::gunzip(slix_test::fixture("disk/gpt-ntfs.raw.gz"), tmp.file("gpt.raw")));
  image_disk source(tmp.file("gpt.raw"));
  partition_list rows;
  ASSERT_TRUE(scan_partitions(source, false, rows));
  expect_rows(rows, {{0, 1, "gpt"}, {1, 1, "gpt"}, {2, 32, "gpt"}, {2048, 4096, "ntfs or exfat [guess]"},
                     {34, 2014, "empty"}, {6144, 2048, "empty"}});
  EXPECT_EQ(rows[0].kind, row_kind::gpt_structure);
  const partition_record& data = rows[3];
  EXPECT_EQ(data.kind, row_kind::gpt_partition);
}

class large_sector_mbr : public testing::TestWithParam<uint32_t> {};

TEST_P(large_sector_mbr, is_found_by_where_its_signature_sits) {
  const uint32_t sector = GetParam();
  disk_test::image img(16 * sector);
  img.signature(sector - 2);
  img.mbr_entry(0, 0, 0x0B, 2, 3);
  const partition_list rows = scan_bytes(img, false);
  expect_rows(rows, {{2, 3, "fat32"}, {0, 2, "empty"}, {5, 11, "empty"}});
  EXPECT_EQ(rows[0].byte_offset(), 2u * sector);
}

INSTANTIATE_TEST_SUITE_P(sizes, large_sector_mbr, testing::Values(1024u, 2048u, 4096u, 8192u, 16384u));

TEST(partition_scan, ext_superblock_makes_one_linux_volume) {
  disk_test::image img(64 * 1024);
  img.put(1080, 0xEF53, 2);
  const partition_list rows = scan_bytes(img, false);
  expect_rows(rows, {{0, 128, "linux [guess]"}});
  EXPECT_EQ(rows[0].kind, row_kind::whole_volume);
}

TEST(partition_scan, extended_chain_that_links_to_itself_ends) {
  disk_test::image img(256 * 1024);
  img.signature(510);
  img.mbr_entry(0, 0, 0x0F, 8, 400);
  img.mbr_entry(8 * 512, 0, 0x83, 1, 10);
  img.mbr_entry(8 * 512, 1, 0x05, 0, 400);  // back to the first record
  expect_rows(scan_bytes(img, false), {{8, 400, "exten"}, {9, 10, "linux"}, {0, 9, "empty"}, {19, 493, "empty"}});
}

TEST(partition_scan, extended_chain_is_walked_to_its_end) {
  disk_test::image img(512 * 512);
  img.signature(510);
  img.mbr_entry(0, 0, 0x05, 1, 500);
  for (uint32_t i = 0; i < 300; ++i) {
    img.mbr_entry((1 + i) * 512, 0, 0x83, 0, 1);
    img.mbr_entry((1 + i) * 512, 1, 0x05, i + 1, 1);
  }
  size_t logical = 0;
  for (const partition_record& row : scan_bytes(img, false)) logical += row.kind == row_kind::logical;
  EXPECT_EQ(logical, 300u);
}

TEST(partition_scan, refuses_disks_without_partitions) {
  disk_test::image empty_table(64 * 1024), unknown_type(64 * 1024), short_disk(8 * 1024), far(3 << 20);
  empty_table.signature(510);
  unknown_type.signature(510);
  unknown_type.mbr_entry(0, 0, 0x02, 1, 10);
  short_disk.ntfs_boot(0);
  far.signature(0x100200 + 510);  // an MBR just past the first MiB
  far.mbr_entry(0x100200, 0, 0x07, 10, 10);
  for (const disk_test::image* img : {&empty_table, &unknown_type, &short_disk, &far}) scan_bytes(*img, true, false);
}

TEST(partition_scan, hostile_gpt_headers_list_only_what_exists) {
  const auto gpt = [](uint32_t count, uint32_t entry_size, uint64_t array_lba) {
    disk_test::image img(64 * 1024);
    img.signature(510);
    img.mbr_entry(0, 0, 0xEE, 1, 127);
    img.put(512 + 24, 1, 8);
    img.put(512 + 72, array_lba, 8);
    img.put(512 + 80, count, 4);
    img.put(512 + 84, entry_size, 4);
    img.put(1024 + 5 * 128, 0x11, 1);  // entry 5 is used; its last LBA is before its first
    img.put(1024 + 5 * 128 + 32, 40, 8);
    img.put(1024 + 5 * 128 + 40, 30, 8);
    return img;
  };
  const row_fact protective{0, 1, "gpt"}, header{1, 1, "gpt"}, array{2, 32, "gpt"};
  expect_rows(scan_bytes(gpt(0xFFFFFFFF, 128, 2), false),
              {protective, header, array, {40, 0, "gpt"}, {34, 6, "empty"}, {40, 88, "empty"}});
  for (const auto& img : {gpt(0xFFFFFFFF, 0xFFFFFFFF, 2), gpt(128, 64, 2), gpt(128, 128, UINT64_MAX / 2)})
    expect_rows(scan_bytes(img, false), {protective, header, array, {34, 94, "empty"}});
}

}  // namespace
