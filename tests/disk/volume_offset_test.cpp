#include "disk/volume_offset.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "disk/image_disk.h"
#include "disk/memory_disk.h"
#include "disk_test_support.h"

namespace {

struct check_outcome {
  bool ok = false;
  uint64_t offset = 0;
  bool found_ntfs = false;
  std::string messages;
};

check_outcome run_check(disk& source, std::optional<uint64_t> requested, bool ignore_image_size = false) {
  check_outcome outcome;
  disk_test::stderr_capture capture;
  outcome.ok = check_volume_offset(source, requested, ignore_image_size, outcome.offset, outcome.found_ntfs);
  outcome.messages = capture.text();
  return outcome;
}

check_outcome run_check(const std::vector<uint8_t>& bytes, std::optional<uint64_t> requested, bool ignore_image_size = false) {
  memory_disk source(bytes);
  return run_check(source, requested, ignore_image_size);
}

std::vector<uint8_t> fixture_disk(const std::string& name) {
  slix_test::temp_dir tmp;
  EXPECT_TRUE(slix_test::gunzip(slix_test::fixture("disk/" + name), tmp.file("disk.raw")));
  return slix_test::read_file(tmp.file("disk.raw"));
}

// An MBR disk listing an NTFS partition before a FAT32 one, both with their
// boot sectors: NTFS at byte 0x180000, FAT32 at 0x100000.
std::vector<uint8_t> ntfs_and_fat32_disk() {
  disk_test::image img(2 * 1024 * 1024);
  img.signature(510);
  img.mbr_entry(0, 0, 0x07, 3072, 1024);
  img.mbr_entry(0, 1, 0x0C, 2048, 1024);
  img.ntfs_boot(0x180000);
  img.fat32_boot(0x100000);
  return img.bytes;
}

TEST(volume_offset, mbr_disk_without_offset_lists_rows_and_suggests_the_ntfs_one) {
  const check_outcome out = run_check(fixture_disk("mbr-ntfs-1m.raw.gz"), std::nullopt);
  EXPECT_FALSE(out.ok);
  EXPECT_TRUE(out.found_ntfs);
  EXPECT_EQ(out.offset, 0x100000u);
  EXPECT_EQ(out.messages,
            "\n"
            "volume offset [ 0x0 ] : unalloc\n"
            "volume offset [ 0x100000 ] : ntfs or exfat\n"
            "volume offset [ 0x300000 ] : unalloc\n"
            "\n"
            "use option [-offset 0x100000]\n");
  // An explicit -offset 0 names the gap, which is no volume at all.
  EXPECT_EQ(run_check(fixture_disk("mbr-ntfs-1m.raw.gz"), 0).messages.rfind("volume offset selected 0x0 is not a NTFS partition, but [unalloc]\n", 0), 0u);
}

TEST(volume_offset, accepts_an_offset_where_ntfs_starts_and_refuses_one_past_the_end) {
  for (const char* name : {"mbr-ntfs-1m.raw.gz", "gpt-ntfs.raw.gz"}) {
    const check_outcome out = run_check(fixture_disk(name), 0x100000);
    EXPECT_TRUE(out.ok && out.found_ntfs) << name;
    EXPECT_EQ(out.offset, 0x100000u) << name;
    EXPECT_EQ(out.messages, "") << name;
  }
  const check_outcome out = run_check(fixture_disk("mbr-ntfs-1m.raw.gz"), 0x400001);
  EXPECT_FALSE(out.ok);
  EXPECT_EQ(out.messages, "volume offset 0x400001 is not within image bounds\n");
}

TEST(volume_offset, truncated_image_needs_the_ignore_flag) {
  std::vector<uint8_t> bytes = fixture_disk("mbr-ntfs-1m.raw.gz");
  bytes.resize(0x101000);
  const check_outcome strict = run_check(bytes, 0x100000);
  EXPECT_FALSE(strict.ok);
  EXPECT_TRUE(strict.found_ntfs);
  EXPECT_EQ(strict.messages,
            "volume offset 0x100000 is a NTFS partition, however image size does not encapsulate entire volume\n");
  const check_outcome lenient = run_check(bytes, 0x100000, true);
  EXPECT_TRUE(lenient.ok);
  EXPECT_EQ(lenient.messages, "");
}

TEST(volume_offset, offset_of_a_fat32_partition_is_refused_with_the_listing) {
  const check_outcome out = run_check(ntfs_and_fat32_disk(), 0x100000);
  EXPECT_FALSE(out.ok);
  EXPECT_EQ(out.offset, 0x180000u);
  EXPECT_EQ(out.messages,
            "volume offset selected 0x100000 is not a NTFS partition, but [fat32]\n"
            "\n"
            "volume offset [ 0x0 ] : unalloc\n"
            "volume offset [ 0x100000 ] : fat32\n"
            "volume offset [ 0x180000 ] : ntfs or exfat\n"
            "\n"
            "use option [-offset 0x180000]\n");
}

TEST(volume_offset, displaced_mbr_is_used_after_a_warning) {
  disk_test::image img(2 * 1024 * 1024);
  img.signature(8 * 512 + 510);
  img.mbr_entry(8 * 512, 0, 0x07, 2040, 1000);
  img.ntfs_boot(0x100000);
  const check_outcome out = run_check(img.bytes, 0x100000);
  EXPECT_TRUE(out.ok);
  EXPECT_EQ(out.messages, "disk is corrupted, partition info questionable\n");
}

TEST(volume_offset, bare_ntfs_volumes_are_taken_at_offset_zero_and_blank_disks_refused) {
  for (size_t size : {size_t{4096}, size_t{64 * 1024}}) {  // shorter and longer than the layout probe
    disk_test::image img(size);
    img.ntfs_boot(0);
    const check_outcome out = run_check(img.bytes, std::nullopt);
    EXPECT_TRUE(out.ok && out.found_ntfs) << size;
    EXPECT_EQ(out.offset, 0u) << size;
    EXPECT_EQ(out.messages, "") << size;
  }
  const check_outcome out = run_check(std::vector<uint8_t>(64 * 1024), std::nullopt);
  EXPECT_FALSE(out.ok);
  EXPECT_EQ(out.messages, "couldn't find any partitions on disk\n");
}

TEST(volume_offset, suggestion_past_the_end_is_reported) {
  disk_test::image img(64 * 1024);
  img.signature(510);
  img.mbr_entry(0, 0, 0x07, 1000, 10);
  const check_outcome out = run_check(img.bytes, 0x200);
  EXPECT_FALSE(out.ok);
  EXPECT_EQ(out.messages,
            "volume offset 0x7d000 is not within image bounds\n"
            "\n"
            "volume offset [ 0x0 ] : unalloc\n"
            "volume offset [ 0x7d000 ] : ntfs or exfat\n"
            "\n"
            "use option [-offset 0x7d000]\n");
}

TEST(volume_offset, windows_disks) {
  SLIX_REQUIRE_SHARED_TESTDATA(dir);
  slix_test::temp_dir tmp;
  image_disk ntfs_disk(disk_test::unpack_shared(dir, tmp, "ntfs_index.raw"));
  EXPECT_TRUE(run_check(ntfs_disk, 0x10000).ok);
  image_disk fat_disk(disk_test::unpack_shared(dir, tmp, "mbr-win-512.raw"));
  const check_outcome fat = run_check(fat_disk, 0x10000);
  EXPECT_FALSE(fat.ok || fat.found_ntfs);
  EXPECT_EQ(fat.messages.rfind("volume offset selected 0x10000 is not a NTFS partition, but [fat]\n\n", 0), 0u);
  EXPECT_NE(fat.messages.find("\nvolume offset [ 0x3050000 ] : fat\n"), std::string::npos);
  EXPECT_TRUE(fat.messages.ends_with("\n\nprob detecting ntfs partition\n"));
}

}  // namespace
