#include "disk/partition_types.h"

#include <gtest/gtest.h>

#include <string>

#include "disk/volume_content.h"
#include "disk_test_support.h"

namespace {

TEST(partition_types, names) {
  const struct {
    uint16_t type;
    const char* name;
  } cases[] = {
      {0x00, "empty"}, {0x01, "fat12"}, {0x8D, "fat12"}, {0x05, "exten"}, {0x0F, "exten"},
      {0x07, "ntfs or exfat"}, {0x0C, "fat32"}, {0x0E, "fat16 LBA mapped"}, {0x92, "hidden fat16"},
      {0x27, "hidden ntfs"}, {0x98, "hidden fat32"}, {0x87, "ntfs volume set"}, {0x8E, "linux Logical Volume Mgr"},
      {0xA1, "hibernation partition"}, {0xEE, "gpt"}, {0x1F, "unk"}, {0x12, "unk"}, {0xFF, "unk"},
      {0x0107, "unk"}, {0x8007, "ntfs or exfat [guess]"}, {0x800B, "fat32 [guess]"}, {0x80FF, "unk [guess]"},
  };
  for (const auto& c : cases) EXPECT_EQ(partition_type_name(c.type), c.name) << std::hex << c.type;
}

TEST(partition_types, known_mbr_types_are_the_union_of_the_families) {
  for (uint8_t type : {0x01, 0x05, 0x07, 0x0B, 0x0F, 0x11, 0x27, 0x83, 0x98, 0xD8, 0xF6, 0xFC, 0xAF, 0xEF})
    EXPECT_TRUE(is_known_mbr_type(type)) << int{type};
  for (uint8_t type : {0x00, 0x02, 0x03, 0x0A, 0x17, 0x8D, 0xA0, 0xA6, 0xEE, 0xFF})
    EXPECT_FALSE(is_known_mbr_type(type)) << int{type};
}

disk_test::image fat_boot(uint16_t root_entries, uint16_t total16, uint16_t fat16_size) {
  disk_test::image img(2048);
  img.put(11, 512, 2);
  img.put(13, 4, 1);
  img.put(14, 1, 2);
  img.put(16, 2, 1);
  img.put(17, root_entries, 2);
  img.put(19, total16, 2);
  img.put(22, fat16_size, 2);
  img.signature(510);
  return img;
}

TEST(volume_content, recognises_boot_sectors_and_superblocks) {
  disk_test::image ntfs(512), exfat(512), fat32(512), ext(2048), zeros(2048);
  ntfs.ntfs_boot(0);
  exfat.put_text(3, "EXFAT   ");
  fat32.fat32_boot(0);
  ext.put(1080, 0xEF53, 2);
  EXPECT_EQ(classify_volume_content(ntfs.bytes), volume_content::ntfs);
  EXPECT_EQ(classify_volume_content(exfat.bytes), volume_content::exfat);
  EXPECT_EQ(classify_volume_content(fat32.bytes), volume_content::fat32);
  EXPECT_EQ(classify_volume_content(ext.bytes), volume_content::ext);
  EXPECT_EQ(classify_volume_content(zeros.bytes), volume_content::unknown);
  // FAT12 and FAT16 differ only by their cluster count (limit 4085).
  EXPECT_EQ(classify_volume_content(fat_boot(512, 16000, 12).bytes), volume_content::fat12);
  EXPECT_EQ(classify_volume_content(fat_boot(512, 40000, 40).bytes), volume_content::fat16);
  EXPECT_EQ(classify_volume_content(fat_boot(512, 30, 40).bytes), volume_content::unknown);
  EXPECT_EQ(classify_volume_content(std::span(ext.bytes).first(1000)), volume_content::unknown);
}

TEST(volume_content, guesses_only_where_table_and_content_disagree) {
  EXPECT_EQ(type_after_content(0x07, volume_content::ntfs), 0x07);
  EXPECT_EQ(type_after_content(0x0B, volume_content::fat32), 0x0B);
  EXPECT_EQ(type_after_content(0x06, volume_content::fat16), 0x06);
  EXPECT_EQ(type_after_content(0x07, volume_content::exfat), 0x07);
  EXPECT_EQ(type_after_content(0x07, volume_content::fat32), 0x800B);
  EXPECT_EQ(type_after_content(0xEE, volume_content::ntfs), 0x8007);
  EXPECT_EQ(type_after_content(0x83, volume_content::ntfs), 0x8007);
  EXPECT_EQ(type_after_content(0x07, volume_content::ext), 0x8083);
  EXPECT_EQ(type_after_content(0xEE, volume_content::unknown), 0xEE);
}

TEST(volume_content, sector_predicates) {
  disk_test::image mbr(512), vbr(512);
  mbr.signature(510);
  vbr.put_text(3, "MSDOS5.0");
  vbr.signature(510);
  EXPECT_TRUE(is_master_boot_record(mbr.bytes));
  EXPECT_FALSE(is_volume_boot_sector(mbr.bytes));
  EXPECT_TRUE(is_volume_boot_sector(vbr.bytes));
  EXPECT_FALSE(is_master_boot_record(vbr.bytes));
}

}  // namespace
