#include "disk/partition_types.h"

#include <gtest/gtest.h>

#include "disk/volume_content.h"
#include "disk_test_support.h"

namespace {

TEST(partition_types, names_and_known_types) {
  EXPECT_EQ(partition_type_name(0x07), "ntfs or exfat");
  EXPECT_EQ(partition_type_name(0x8007), "ntfs or exfat [guess]");
  EXPECT_EQ(partition_type_name(0x80FF), "unk [guess]");
  EXPECT_EQ(partition_type_name(0x0107), "unk");  // no guess bit: all 16 bits name the type
  // The families overlap at 0x11, 0x27 and 0x98; 0x8D has a name but is not taken.
  for (uint8_t type : {0x01, 0x05, 0x07, 0x11, 0x27, 0x98, 0xFC}) EXPECT_TRUE(is_known_mbr_type(type)) << int{type};
  for (uint8_t type : {0x00, 0x02, 0x17, 0x8D, 0xEE}) EXPECT_FALSE(is_known_mbr_type(type)) << int{type};
}

// A FAT12/16 boot sector: 4 sectors per cluster, one reserved sector, two FATs.
disk_test::image fat_boot(uint16_t total_sectors, uint16_t fat_sectors) {
  disk_test::image img(512);
  img.put(11, 512, 2);
  img.put(13, 4, 1);
  img.put(14, 1, 2);
  img.put(16, 2, 1);
  img.put(17, 512, 2);
  img.put(19, total_sectors, 2);
  img.put(22, fat_sectors, 2);
  img.signature(510);
  return img;
}

TEST(volume_content, recognises_boot_sectors_and_superblocks) {
  disk_test::image ntfs(512), exfat(512), fat32(512), ext(2048), mbr(512);
  ntfs.ntfs_boot(0);
  exfat.put_text(3, "EXFAT   ");
  fat32.fat32_boot(0);
  ext.put(1080, 0xEF53, 2);
  mbr.signature(510);
  EXPECT_EQ(classify_volume_content(ntfs.bytes), volume_content::ntfs);
  EXPECT_EQ(classify_volume_content(exfat.bytes), volume_content::exfat);
  EXPECT_EQ(classify_volume_content(fat32.bytes), volume_content::fat32);
  EXPECT_EQ(classify_volume_content(ext.bytes), volume_content::ext);
  EXPECT_EQ(classify_volume_content(mbr.bytes), volume_content::unknown);
  EXPECT_EQ(classify_volume_content(std::span(ext.bytes).first(1000)), volume_content::unknown);
  // FAT12 and FAT16 differ only by their cluster count (limit 4085).
  EXPECT_EQ(classify_volume_content(fat_boot(16000, 12).bytes), volume_content::fat12);
  EXPECT_EQ(classify_volume_content(fat_boot(40000, 40).bytes), volume_content::fat16);
  EXPECT_EQ(classify_volume_content(fat_boot(30, 40).bytes), volume_content::unknown);
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
