#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "disk/image_disk.h"
#include "disk/physical_drive.h"
#include "test_support.h"

namespace {

TEST(image_disk, reads_short_at_the_end_and_nothing_past_it) {
  slix_test::temp_dir tmp;
  std::vector<uint8_t> bytes(3000);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * 7);
  slix_test::write_file(tmp.file("img"), bytes);
  image_disk source(tmp.file("img"));
  ASSERT_TRUE(source.is_open());
  EXPECT_EQ(source.size(), 3000u);
  std::vector<uint8_t> buf(1024);
  EXPECT_EQ(source.read(2500, buf), 500u);
  EXPECT_EQ(buf[499], bytes[2999]);
  EXPECT_TRUE(source.read_exact(1976, buf));
  EXPECT_EQ(buf[0], bytes[1976]);
  EXPECT_EQ(source.read(3000, buf), 0u);
  EXPECT_EQ(source.read(UINT64_MAX, buf), 0u);
  EXPECT_FALSE(image_disk(tmp.file("missing")).is_open());
  EXPECT_FALSE(image_disk(tmp.path()).is_open());
  EXPECT_FALSE(image_disk("").is_open());
}

TEST(physical_drive, maps_numbers_to_devices) {
  slix_test::temp_dir dev;
  for (const char* name : {"sdb", "vdc", "nvme3n1"}) slix_test::write_text(dev.file(name), "");
  EXPECT_EQ(drive_device_path("1", dev.path()), dev.file("sdb"));
  EXPECT_EQ(drive_device_path("2", dev.path()), dev.file("vdc"));
  EXPECT_EQ(drive_device_path("3", dev.path()), dev.file("nvme3n1"));
  EXPECT_EQ(drive_device_path("0", dev.path()), "");
  EXPECT_EQ(drive_device_path("x1", dev.path()), "");
  EXPECT_EQ(partition_device_path("/dev/sda", "2"), "/dev/sda2");
  EXPECT_EQ(partition_device_path("/dev/nvme0n1", "1"), "/dev/nvme0n1p1");
  EXPECT_EQ(partition_device_path("/dev/sda", "0"), "");
  EXPECT_EQ(partition_device_path("", "1"), "");
}

TEST(physical_drive, missing_drive_opens_nothing) {
  slix_test::temp_dir dev;
  slix_test::write_text(dev.file("sda1"), "");
  EXPECT_EQ(open_drive_source("7", "", dev.path()), nullptr);
  EXPECT_EQ(open_drive_source("", "2", dev.path()), nullptr);
}

}  // namespace
