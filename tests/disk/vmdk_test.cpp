// VMDK disks: those qemu-img makes (tests/fixtures/vmdk/make_vmdk_fixtures.sh),
// read through the disk object and compared with what qemu-img itself
// reads; hand-made sparse extents and descriptors for the cases no real
// writer makes (hostile headers, odd extent lists); and the chain rules.
#include "disk/vmdk.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <string_view>

#include "app/volume_source.h"
#include "byte_builder.h"
#include "disk/vmdk_chain.h"
#include "disk/vmdk_descriptor.h"
#include "test_support.h"

namespace {

using namespace build;

namespace vf = vmdk_format;

const char invalid[] = "invalid disk collection of snaps \n";

// Opens a collection: the disk (or nullptr) and the lines the app would print.
struct opened {
  std::unique_ptr<disk> source;
  std::string messages;
};

opened open_collection(const std::string& list) {
  vmdk_opening opening = open_vmdk_source(list);
  return {std::move(opening.source), vmdk_fault_lines(opening.fault)};
}

byte_array read_at(disk& source, uint64_t offset, size_t length) {
  byte_array bytes(length);
  bytes.resize(source.read(offset, bytes));
  return bytes;
}

// The whole disk read in pieces of `step` bytes (an odd step makes reads
// start and end inside grains).
byte_array read_all(disk& source, size_t step) {
  byte_array bytes(source.size());
  for (uint64_t at = 0; at < bytes.size(); at += step) {
    const size_t length = static_cast<size_t>(std::min<uint64_t>(step, bytes.size() - at));
    if (source.read(at, std::span<uint8_t>(bytes).subspan(at, length)) != length) return {};
  }
  return bytes;
}

byte_array filled(size_t length, uint8_t value) { return byte_array(length, value); }

// A decompressed fixture of tests/fixtures/vmdk.
std::string path(const std::string& name) { return slix_test::fixture_workdir() + "/" + name; }

struct same_bytes_case {
  std::string list;  // first name gets the folder; later bare names follow it
  std::string expected_raw;
};

class vmdk_reads_as_raw : public testing::TestWithParam<same_bytes_case> {};

// Every virtual byte equals the raw disk qemu-img read, whether the disk is
// read in large pieces or in odd ones that start and end inside grains; in a
// chain, each grain comes from the newest disk that holds it.
TEST_P(vmdk_reads_as_raw, every_byte_matches) {
  const auto [source, messages] = open_collection(path(GetParam().list));
  ASSERT_TRUE(source) << messages;
  EXPECT_EQ(messages, "");
  const byte_array expected = slix_test::read_file(path(GetParam().expected_raw));
  ASSERT_EQ(source->size(), expected.size());
  EXPECT_TRUE(read_all(*source, 1 << 20) == expected);
  EXPECT_TRUE(read_all(*source, 100001) == expected);
}

INSTANTIATE_TEST_SUITE_P(fixtures, vmdk_reads_as_raw,
                         testing::Values(same_bytes_case{"pattern.vmdk", "pattern.raw"},
                                         same_bytes_case{"pattern-mf.vmdk", "pattern.raw"},
                                         same_bytes_case{"pattern.vmdk|child.vmdk", "child.raw"},
                                         same_bytes_case{"grandchild.vmdk | pattern.vmdk|child.vmdk", "grandchild.raw"},
                                         same_bytes_case{"pattern-so.vmdk", "pattern.raw"},
                                         same_bytes_case{"ntfs-so.vmdk", "ntfs-disk.raw"},
                                         same_bytes_case{"ntfs-disk.vmdk", "ntfs-disk.raw"},
                                         same_bytes_case{"ntfs-child.vmdk|ntfs-disk.vmdk", "ntfs-disk-v2.raw"}));

TEST(vmdk_split_disk, sparse_extents_are_laid_end_to_end) {
  const auto [source, messages] = open_collection(path("big.vmdk"));
  ASSERT_TRUE(source) << messages;
  ASSERT_EQ(source->size(), 5ull << 30);
  const uint64_t boundary = 2ull << 30;
  byte_array expected = filled(8192, 0);
  expected.insert(expected.end(), 8192, 0x5a);
  expected.insert(expected.end(), 8192, 0);
  EXPECT_EQ(read_at(*source, boundary - 12288, 24576), expected);
  EXPECT_EQ(read_at(*source, 4608ull << 20, 4096), filled(4096, 0x6b));
  // Reads stop at the end of the disk.
  EXPECT_EQ(read_at(*source, (5ull << 30) - 4096, 8192), filled(4096, 0));
  EXPECT_EQ(read_at(*source, 5ull << 30, 16).size(), 0u);
}

TEST(vmdk_split_disk, missing_extent_file_names_the_extent_then_the_disk) {
  slix_test::temp_dir dir;
  for (const char* name : {"big.vmdk", "big-s001.vmdk", "big-s003.vmdk"})
    ASSERT_TRUE(slix_test::gunzip(slix_test::fixture(std::string("vmdk/") + name + ".gz"), dir.file(name)));
  const auto [source, messages] = open_collection(dir.file("big.vmdk"));
  EXPECT_FALSE(source);
  EXPECT_EQ(messages,
            dir.file("big-s002.vmdk") + " can't be opened\n" + dir.file("big.vmdk") + " can't be opened\n" + invalid);
}

void expect_extent_grains(disk& source) {
  ASSERT_EQ(source.size(), 64u * 512);
  EXPECT_EQ(read_at(source, 0, 4096), filled(4096, 0x11));
  EXPECT_EQ(read_at(source, 4096, 4 * 4096), filled(4 * 4096, 0));
  EXPECT_EQ(read_at(source, 5 * 4096, 4096), filled(4096, 0x55));
  EXPECT_EQ(read_at(source, 6 * 4096, 2 * 4096), filled(2 * 4096, 0));  // past the file, and zeroed
}

// The primary grain directory serves in the descriptor test below; with it
// absent, the redundant copy does.
TEST(vmdk_sparse, redundant_grain_directory_serves_when_the_primary_is_absent) {
  sparse_extent extent;
  put_fields(extent.bytes, 0,
             {{vf::hdr_flags, vf::flag_redundant_gt | vf::flag_zeroed_grain_gte, 4},
              {vf::hdr_gd_offset, 0, 8},
              {vf::hdr_rgd_offset, sparse_extent::directory, 8}});
  slix_test::temp_dir dir;
  slix_test::write_file(dir.file("x.vmdk"), extent.bytes);
  const auto [source, messages] = open_collection(dir.file("x.vmdk"));
  ASSERT_TRUE(source) << messages;
  expect_extent_grains(*source);
}

struct hostile_case {
  const char* what;
  std::vector<field> changes;
  std::string reason;
};

class vmdk_hostile_header : public testing::TestWithParam<hostile_case> {};

TEST_P(vmdk_hostile_header, is_refused_with_its_reason) {
  sparse_extent extent;
  for (const field& f : GetParam().changes) put(extent.bytes, f.at, f.value, f.width);
  slix_test::temp_dir dir;
  const std::string name = dir.file("x.vmdk");
  slix_test::write_file(name, extent.bytes);
  const auto [source, messages] = open_collection(name);
  EXPECT_FALSE(source);
  EXPECT_EQ(messages, name + " " + GetParam().reason + "\n" + name + " can't be opened\n" + invalid);
}

const std::string grain_reason = " sectors (a power of two up to 65536 is expected)";
const std::string gtes_reason = " grain entries per table (1 to 1048576 are expected)";
constexpr size_t second_directory_entry = sparse_extent::directory * sparse_extent::sector + vf::table_entry_size;

// 1024 directory entries all naming one 2 KiB table: 2 MiB of tables claimed
// by a 12 KiB file.
std::vector<field> tables_larger_than_file() {
  std::vector<field> changes{{vf::hdr_capacity, 1024 * 512, 8},
                             {vf::hdr_grain_size, 1, 8},
                             {vf::hdr_gtes_per_gt, 512, 4},
                             {vf::hdr_descriptor_offset, 0, 8},
                             {vf::hdr_gd_offset, 16, 8}};
  for (size_t i = 0; i < 1024; ++i) changes.push_back({16 * sparse_extent::sector + vf::table_entry_size * i, 2, 4});
  return changes;
}

INSTANTIATE_TEST_SUITE_P(
    cases, vmdk_hostile_header,
    testing::Values(
        hostile_case{"version", {{vf::hdr_version, 9, 4}}, "has sparse extent version 9 (1 to 3 are known)"},
        hostile_case{"compressed", {{vf::hdr_flags, vf::flag_compressed, 4}},
                     "uses grain compression 0 (only deflate is known)"},
        hostile_case{"unknown_compression", {{vf::hdr_compress_algorithm, 2, 2}},
                     "uses grain compression 2 (only deflate is known)"},
        hostile_case{"line_ends",
                     {{vf::hdr_double_end_line1, '\n', 1}},
                     "has altered line-end check characters (was it copied in text mode?)"},
        hostile_case{"grain_0", {{vf::hdr_grain_size, 0, 8}}, "has a grain size of 0" + grain_reason},
        hostile_case{"grain_3", {{vf::hdr_grain_size, 3, 8}}, "has a grain size of 3" + grain_reason},
        hostile_case{"grain_huge",
                     {{vf::hdr_grain_size, uint64_t{1} << 40, 8}},
                     "has a grain size of 1099511627776" + grain_reason},
        hostile_case{"gtes_0", {{vf::hdr_gtes_per_gt, 0, 4}}, "has 0" + gtes_reason},
        hostile_case{"gtes_huge", {{vf::hdr_gtes_per_gt, 0xFFFFFFFF, 4}}, "has 4294967295" + gtes_reason},
        hostile_case{"capacity_huge",
                     {{vf::hdr_capacity, ~uint64_t{0}, 8}},
                     "has a capacity of 18446744073709551615 sectors, which no real disk has"},
        hostile_case{"capacity_past_file",
                     {{vf::hdr_capacity, uint64_t{1} << 40, 8}},
                     "has its grain directory past the end of the file"},
        hostile_case{"descriptor_past_file",
                     {{vf::hdr_descriptor_offset, ~uint64_t{0} / 256, 8}},
                     "has its embedded descriptor past the end of the file"},
        hostile_case{"descriptor_huge",
                     {{vf::hdr_descriptor_size, ~uint64_t{0}, 8}},
                     "has its embedded descriptor past the end of the file"},
        hostile_case{"directory_past_file",
                     {{vf::hdr_gd_offset, 1u << 30, 8}},
                     "has its grain directory past the end of the file"},
        hostile_case{"no_directory", {{vf::hdr_gd_offset, 0, 8}}, "has no grain directory"},
        hostile_case{
            "table_past_file", {{second_directory_entry, 0xFFFFFFF0, 4}}, "has a grain table past the end of the file"},
        hostile_case{"tables_larger_than_file", tables_larger_than_file(), "has grain tables larger than the file"},
        hostile_case{"no_descriptor",
                     {{vf::hdr_descriptor_offset, 0, 8}},
                     "is a sparse extent without a descriptor; give its descriptor file instead"},
        hostile_case{"not_kdmv", {{vf::hdr_magic, 'X', 1}}, "is neither a VMDK descriptor nor a sparse extent"}),
    [](const auto& info) { return std::string(info.param.what); });

// A descriptor of several extents: 4 sectors of a flat file starting at its
// sector 2, 2 sectors of zeros, then the hand-made sparse extent.
TEST(vmdk_descriptor_file, extents_are_concatenated_in_order) {
  slix_test::temp_dir dir;
  byte_array flat(4096);
  for (size_t i = 0; i < flat.size(); ++i) flat[i] = static_cast<uint8_t>(i % 251);
  slix_test::write_file(dir.file("flat.bin"), flat);
  slix_test::write_file(dir.file("my extent.vmdk"), sparse_extent().bytes);
  slix_test::write_text(dir.file("d.vmdk"),
                        "# Disk DescriptorFile\r\nCID=1234abcd\r\nparentCID=ffffffff\r\n"
                        "RW 4 FLAT \"flat.bin\" 2\r\nRDONLY 2 ZERO\r\nRW 64 SPARSE \"my extent.vmdk\"\r\n");
  const auto [source, messages] = open_collection(dir.file("d.vmdk"));
  ASSERT_TRUE(source) << messages;
  ASSERT_EQ(source->size(), 70u * 512);
  byte_array expected(flat.begin() + 1024, flat.begin() + 3072);
  append(expected, filled(1024, 0));
  append(expected, filled(4096, 0x11));
  append(expected, filled(4096, 0));
  EXPECT_EQ(read_at(*source, 0, expected.size()), expected);
}

// Descriptors refused for their content are golden cases (vmdk_refused_*); an
// extent that is a FIFO cannot be made a fixture.
TEST(vmdk_descriptor_file, extent_that_is_no_regular_file_is_refused) {
  slix_test::temp_dir dir;
  ASSERT_EQ(::mkfifo(dir.file("fifo").c_str(), 0600), 0);
  slix_test::write_text(dir.file("d.vmdk"), "CID=1\nparentCID=ffffffff\nRW 8 FLAT \"fifo\"\n");
  const auto [source, messages] = open_collection(dir.file("d.vmdk"));
  EXPECT_FALSE(source);
  EXPECT_EQ(messages, dir.file("fifo") + " can't be opened\n" + dir.file("d.vmdk") + " can't be opened\n" + invalid);
}

TEST(vmdk_descriptor_text, keys_are_read_whatever_their_case_and_quotes) {
  vmdk_descriptor d;
  using namespace std::literals;
  EXPECT_EQ(parse_vmdk_descriptor("cid = ABCDEF01\nParentCID=\"1234ABCD\"\nparentFileNameHint=\"a b.vmdk\"\n"
                                  "RW 8 SPARSE \"name with spaces.vmdk\"\n\0RW 8 ZERO\n"sv,
                                  d),
            "");
  EXPECT_EQ(d.cid, "abcdef01");
  EXPECT_EQ(d.parent_cid, "1234abcd");
  EXPECT_EQ(d.parent_hint, "a b.vmdk");
  ASSERT_EQ(d.extents.size(), 1u);
  EXPECT_EQ(d.extents[0].file_name, "name with spaces.vmdk");
}

struct chain_case {
  const char* what;
  std::vector<vmdk_chain_member> members;
  vmdk_chain_fault fault;
  std::vector<size_t> newest_first;
};

class vmdk_chain_rules : public testing::TestWithParam<chain_case> {};

TEST_P(vmdk_chain_rules, order_or_fault) {
  const vmdk_chain_order order = order_vmdk_chain(GetParam().members);
  EXPECT_EQ(order.fault, GetParam().fault);
  EXPECT_EQ(order.newest_first, GetParam().newest_first);
}

using F = vmdk_chain_fault;
INSTANTIATE_TEST_SUITE_P(
    cases, vmdk_chain_rules,
    testing::Values(
        chain_case{"single_base", {{"a", "ffffffff"}}, F::none, {0}},
        chain_case{"shuffled_three", {{"c", "b"}, {"a", "ffffffff"}, {"b", "a"}}, F::none, {0, 2, 1}},
        chain_case{"lone_child", {{"b", "a"}}, F::missing_parent, {}},
        chain_case{"duplicate_cid", {{"a", "ffffffff"}, {"a", "ffffffff"}}, F::cid_errors, {}},
        chain_case{"own_parent", {{"a", "a"}}, F::cid_errors, {}},
        chain_case{"two_children", {{"a", "ffffffff"}, {"b", "a"}, {"c", "a"}}, F::cid_errors, {}},
        chain_case{"two_bases", {{"a", "ffffffff"}, {"b", "ffffffff"}}, F::cid_errors, {}},
        chain_case{"loop", {{"a", "b"}, {"b", "a"}}, F::cid_errors, {}},
        chain_case{"loop_beside_chain", {{"a", "ffffffff"}, {"b", "a"}, {"c", "d"}, {"d", "c"}}, F::cid_errors, {}}),
    [](const auto& info) { return std::string(info.param.what); });

}  // namespace
