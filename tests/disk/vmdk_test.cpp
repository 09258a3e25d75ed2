// VMDK disks made by qemu-img (tests/fixtures/vmdk/make_vmdk_fixtures.sh),
// read through the disk object and compared with what qemu-img itself reads.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/vk_string.h"
#include "vmdk_test_util.h"

namespace {

using vmdk_test::open_collection;

const std::vector<std::string> all_fixtures = {
    "pattern.raw",  "pattern.vmdk",   "pattern-mf.vmdk", "pattern-mf-flat.vmdk", "pattern-so.vmdk",
    "child.vmdk",   "grandchild.vmdk", "child.raw",      "grandchild.raw",       "big.vmdk",
    "big-s001.vmdk", "big-s002.vmdk", "big-s003.vmdk",  "ntfs-disk.raw",        "ntfs-disk.vmdk",
    "ntfs-disk-v2.raw", "ntfs-child.vmdk", "ntfs-so.vmdk"};

// The fixtures are unpacked once for the whole program; tests that change a
// file unpack their own copy.
const slix_test::temp_dir& unpacked() {
  static const slix_test::temp_dir dir;
  static const bool ok = vmdk_test::unpack(dir, all_fixtures);
  EXPECT_TRUE(ok);
  return dir;
}

class vmdk_fixtures : public ::testing::Test {
 protected:
  std::string path(const std::string& name) const { return m_dir.file(name); }

  const slix_test::temp_dir& m_dir = unpacked();
};

struct same_bytes_case {
  std::string list;  // first name gets the folder; later bare names follow it
  std::string expected_raw;
};

class vmdk_reads_as_raw : public vmdk_fixtures, public ::testing::WithParamInterface<same_bytes_case> {};

// Every virtual byte equals the raw disk qemu-img read, whether the disk is
// read in large pieces or in odd ones that start and end inside grains.
TEST_P(vmdk_reads_as_raw, every_byte_matches) {
  const auto [source, messages] = open_collection(path(GetParam().list));
  ASSERT_TRUE(source) << messages;
  EXPECT_EQ(messages, "");
  const std::vector<uint8_t> expected = slix_test::read_file(path(GetParam().expected_raw));
  ASSERT_EQ(source->size(), expected.size());
  EXPECT_TRUE(vmdk_test::read_all(*source, 1 << 20) == expected);
  EXPECT_TRUE(vmdk_test::read_all(*source, 100001) == expected);
}

INSTANTIATE_TEST_SUITE_P(
    fixtures, vmdk_reads_as_raw,
    ::testing::Values(same_bytes_case{"pattern.vmdk", "pattern.raw"},
                      same_bytes_case{"pattern-mf.vmdk", "pattern.raw"},
                      same_bytes_case{"pattern.vmdk|child.vmdk", "child.raw"},
                      same_bytes_case{"grandchild.vmdk | pattern.vmdk|child.vmdk", "grandchild.raw"},
                      same_bytes_case{"pattern-so.vmdk", "pattern.raw"},
                      same_bytes_case{"ntfs-so.vmdk", "ntfs-disk.raw"},
                      same_bytes_case{"ntfs-disk.vmdk", "ntfs-disk.raw"},
                      same_bytes_case{"ntfs-child.vmdk|ntfs-disk.vmdk", "ntfs-disk-v2.raw"}));

std::vector<uint8_t> filled(size_t length, uint8_t value) { return std::vector<uint8_t>(length, value); }

std::string text_at(disk& source, uint64_t offset, size_t length) {
  const std::vector<uint8_t> bytes = vmdk_test::read_at(source, offset, length);
  return std::string(bytes.begin(), bytes.end());
}

TEST_F(vmdk_fixtures, newest_disk_holding_a_grain_serves_it) {
  const auto [source, messages] = open_collection(path("pattern.vmdk") + "|child.vmdk|grandchild.vmdk");
  ASSERT_TRUE(source) << messages;
  EXPECT_EQ(vmdk_test::read_at(*source, 0, 512), filled(512, 0x43));  // grandchild
  EXPECT_EQ(text_at(*source, 512, 16), "sector 00000001 ");  // base, past the grandchild's sector
  EXPECT_EQ(vmdk_test::read_at(*source, 4096, 512), filled(512, 0x41));  // child
  EXPECT_EQ(text_at(*source, 4608, 16), "sector 00000009 ");  // base data the child copied
  EXPECT_EQ(vmdk_test::read_at(*source, 3 << 20, 65536), filled(65536, 0x42));  // child, base had none
  // The grandchild's zeroed grain hides the base's text at 5 MiB.
  EXPECT_EQ(vmdk_test::read_at(*source, 5 << 20, 65536), filled(65536, 0));
  EXPECT_EQ(text_at(*source, (5 << 20) + 65536, 16), "sector 00010368 ");
  EXPECT_EQ(vmdk_test::read_at(*source, 7 << 20, 4096), filled(4096, 0));  // no disk holds it
}

TEST_F(vmdk_fixtures, reads_stop_at_the_end_of_the_disk) {
  const auto [source, messages] = open_collection(path("pattern.vmdk"));
  ASSERT_TRUE(source) << messages;
  const uint64_t size = source->size();
  EXPECT_EQ(text_at(*source, size - 1024, 4096), text_at(*source, size - 1024, 1024));
  EXPECT_EQ(text_at(*source, size - 512, 16), "sector 00016389 ");
  EXPECT_EQ(vmdk_test::read_at(*source, size, 16).size(), 0u);
}

TEST_F(vmdk_fixtures, split_sparse_extents_are_laid_end_to_end) {
  const auto [source, messages] = open_collection(path("big.vmdk"));
  ASSERT_TRUE(source) << messages;
  ASSERT_EQ(source->size(), 5ull << 30);
  const uint64_t boundary = 2ull << 30;
  std::vector<uint8_t> expected = filled(8192, 0);
  expected.insert(expected.end(), 8192, 0x5a);
  expected.insert(expected.end(), 8192, 0);
  EXPECT_EQ(vmdk_test::read_at(*source, boundary - 12288, 24576), expected);
  EXPECT_EQ(vmdk_test::read_at(*source, 4608ull << 20, 4096), filled(4096, 0x6b));
  EXPECT_EQ(vmdk_test::read_at(*source, (5ull << 30) - 4096, 8192), filled(4096, 0));
}

struct refusal_case {
  std::string list;  // "@" stands for the fixture folder
  std::string messages;  // expected standard error, "@" again for the folder
};

class vmdk_refusals : public vmdk_fixtures, public ::testing::WithParamInterface<refusal_case> {
 protected:
  std::string with_folder(const std::string& text) const { return vk::replace_all(text, "@", m_dir.path()); }
};

TEST_P(vmdk_refusals, print_why_and_fail) {
  const auto [source, messages] = open_collection(with_folder(GetParam().list));
  EXPECT_FALSE(source);
  EXPECT_EQ(messages, with_folder(GetParam().messages));
}

const char invalid[] = "invalid disk collection of snaps \n";

INSTANTIATE_TEST_SUITE_P(
    fixtures, vmdk_refusals,
    ::testing::Values(
        refusal_case{"", ""}, refusal_case{" | ", ""},
        refusal_case{"@/absent.vmdk", std::string("@/absent.vmdk can't be opened\n") + invalid},
        refusal_case{"@/pattern.vmdk|pattern.vmdk", std::string("Child VMDK CID errors, aborting\n") + invalid},
        refusal_case{"@/big-s002.vmdk",
                     "@/big-s002.vmdk is a sparse extent without a descriptor; give its descriptor file "
                     "instead\n@/big-s002.vmdk can't be opened\n" +
                         std::string(invalid)}));

TEST_F(vmdk_fixtures, child_without_its_parent_is_refused) {
  const auto [source, messages] = open_collection(path("child.vmdk") + "|grandchild.vmdk");
  EXPECT_FALSE(source);
  const std::string tail = "Child VMDK points to a parent VMDK that doesn't exist, aborting\n" + std::string(invalid);
  EXPECT_TRUE(messages.starts_with(path("child.vmdk") + " names parent CID ")) << messages;
  EXPECT_NE(messages.find("(\"pattern.vmdk\"), which is not in the list\n"), std::string::npos) << messages;
  EXPECT_TRUE(messages.ends_with(tail)) << messages;
}

TEST(vmdk_split_disk, missing_extent_file_names_the_extent_then_the_disk) {
  slix_test::temp_dir dir;
  ASSERT_TRUE(vmdk_test::unpack(dir, {"big.vmdk", "big-s001.vmdk", "big-s003.vmdk"}));
  const auto [source, messages] = open_collection(dir.file("big.vmdk"));
  EXPECT_FALSE(source);
  EXPECT_EQ(messages, dir.file("big-s002.vmdk") + " can't be opened\n" + dir.file("big.vmdk") + " can't be opened\n" + invalid);
}

}  // namespace
