// Hand-made sparse extents and descriptors: the cases no real writer makes
// (hostile headers, odd extent lists) and the chain rules.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <functional>
#include <string_view>

#include "disk/vmdk_chain.h"
#include "disk/vmdk_descriptor.h"
#include "disk/vmdk_format.h"
#include "vmdk_test_util.h"

namespace {

namespace fmt = vmdk_format;
using vmdk_test::open_collection;

const char invalid[] = "invalid disk collection of snaps \n";

// A small valid extent: 64 sectors in grains of 8 sectors, 4 entries per
// table, so two tables.  Sectors: 0 header, 1 descriptor, 2 directory, 3 and
// 4 the tables, 8 to 23 grain data.
struct sparse_builder {
  std::vector<uint8_t> bytes = std::vector<uint8_t>(24 * 512, 0);

  sparse_builder() {
    put32(fmt::hdr_magic, fmt::sparse_magic);
    put32(fmt::hdr_version, 1);
    put32(fmt::hdr_flags, fmt::flag_valid_newline_test | fmt::flag_zeroed_grain_gte);
    put64(fmt::hdr_capacity, 64);
    put64(fmt::hdr_grain_size, 8);
    put64(fmt::hdr_descriptor_offset, 1);
    put64(fmt::hdr_descriptor_size, 1);
    put32(fmt::hdr_gtes_per_gt, 4);
    put64(fmt::hdr_gd_offset, 2);
    put64(fmt::hdr_overhead, 8);
    const char line_ends[] = "\n \r\n";
    std::copy(line_ends, line_ends + 4, bytes.begin() + fmt::hdr_single_end_line);
    const std::string text = "# Disk DescriptorFile\nCID=0000000a\nparentCID=ffffffff\nRW 64 SPARSE \"x.vmdk\"\n";
    std::copy(text.begin(), text.end(), bytes.begin() + 512);
    put32(2 * 512, 3);
    put32(2 * 512 + 4, 4);
    set_grain(0, 8, 0x11);
    set_grain(5, 16, 0x55);
    set_grain(6, 1000, 0x00);  // data past the end of the file
    set_grain(7, fmt::gte_zeroed, 0x00);
  }
  void put32(size_t off, uint32_t value) {
    for (size_t i = 0; i < 4; ++i) bytes[off + i] = static_cast<uint8_t>(value >> (8 * i));
  }
  void put64(size_t off, uint64_t value) {
    put32(off, static_cast<uint32_t>(value));
    put32(off + 4, static_cast<uint32_t>(value >> 32));
  }
  void set_grain(size_t grain, uint32_t sector, uint8_t fill) {
    put32((3 + grain / 4) * 512 + (grain % 4) * 4, sector);
    if (sector >= 8 && uint64_t{sector} * 512 + 4096 <= bytes.size())
      std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(sector) * 512, 4096, fill);
  }
};

std::vector<uint8_t> grain_of(uint8_t value) { return std::vector<uint8_t>(4096, value); }

void expect_builder_grains(disk& source) {
  ASSERT_EQ(source.size(), 64u * 512);
  EXPECT_EQ(vmdk_test::read_at(source, 0, 4096), grain_of(0x11));
  EXPECT_EQ(vmdk_test::read_at(source, 4096, 4 * 4096), std::vector<uint8_t>(4 * 4096, 0));
  EXPECT_EQ(vmdk_test::read_at(source, 5 * 4096, 4096), grain_of(0x55));
  EXPECT_EQ(vmdk_test::read_at(source, 6 * 4096, 2 * 4096), std::vector<uint8_t>(2 * 4096, 0));
}

TEST(vmdk_sparse, hand_made_extent_reads_its_grains) {
  slix_test::temp_dir dir;
  slix_test::write_file(dir.file("x.vmdk"), sparse_builder().bytes);
  const auto [source, messages] = open_collection(dir.file("x.vmdk"));
  ASSERT_TRUE(source) << messages;
  expect_builder_grains(*source);
}

TEST(vmdk_sparse, redundant_directory_serves_when_the_primary_is_absent) {
  sparse_builder extent;
  extent.put32(fmt::hdr_flags, fmt::flag_redundant_gt | fmt::flag_zeroed_grain_gte);
  extent.put64(fmt::hdr_gd_offset, 0);
  extent.put64(fmt::hdr_rgd_offset, 2);
  slix_test::temp_dir dir;
  slix_test::write_file(dir.file("x.vmdk"), extent.bytes);
  const auto [source, messages] = open_collection(dir.file("x.vmdk"));
  ASSERT_TRUE(source) << messages;
  expect_builder_grains(*source);
}

struct hostile_case {
  const char* what;
  std::function<void(sparse_builder&)> damage;
  std::string reason;
};

class vmdk_hostile_header : public ::testing::TestWithParam<hostile_case> {};

TEST_P(vmdk_hostile_header, is_refused_with_its_reason) {
  sparse_builder extent;
  GetParam().damage(extent);
  slix_test::temp_dir dir;
  const std::string name = dir.file("x.vmdk");
  slix_test::write_file(name, extent.bytes);
  const auto [source, messages] = open_collection(name);
  EXPECT_FALSE(source);
  EXPECT_EQ(messages, name + " " + GetParam().reason + "\n" + name + " can't be opened\n" + invalid);
}

const std::string unknown_compression = "uses grain compression 2 (only deflate is known)";

INSTANTIATE_TEST_SUITE_P(
    cases, vmdk_hostile_header,
    ::testing::Values(
        hostile_case{"version", [](auto& e) { e.put32(fmt::hdr_version, 9); }, "has sparse extent version 9 (1 to 3 are known)"},
        hostile_case{"compressed", [](auto& e) { e.put32(fmt::hdr_flags, fmt::flag_compressed); },
                     "uses grain compression 0 (only deflate is known)"},
        hostile_case{"unknown_compression", [](auto& e) { e.bytes[fmt::hdr_compress_algorithm] = 2; },
                     unknown_compression},
        hostile_case{"line_ends", [](auto& e) { e.bytes[fmt::hdr_double_end_line1] = '\n'; },
                     "has altered line-end check characters (was it copied in text mode?)"},
        hostile_case{"grain_0", [](auto& e) { e.put64(fmt::hdr_grain_size, 0); },
                     "has a grain size of 0 sectors (a power of two up to 65536 is expected)"},
        hostile_case{"grain_3", [](auto& e) { e.put64(fmt::hdr_grain_size, 3); },
                     "has a grain size of 3 sectors (a power of two up to 65536 is expected)"},
        hostile_case{"grain_huge", [](auto& e) { e.put64(fmt::hdr_grain_size, uint64_t{1} << 40); },
                     "has a grain size of 1099511627776 sectors (a power of two up to 65536 is expected)"},
        hostile_case{"gtes_0", [](auto& e) { e.put32(fmt::hdr_gtes_per_gt, 0); },
                     "has 0 grain entries per table (1 to 1048576 are expected)"},
        hostile_case{"gtes_huge", [](auto& e) { e.put32(fmt::hdr_gtes_per_gt, 0xFFFFFFFF); },
                     "has 4294967295 grain entries per table (1 to 1048576 are expected)"},
        hostile_case{"capacity_huge", [](auto& e) { e.put64(fmt::hdr_capacity, ~uint64_t{0}); },
                     "has a capacity of 18446744073709551615 sectors, which no real disk has"},
        hostile_case{"capacity_past_file", [](auto& e) { e.put64(fmt::hdr_capacity, uint64_t{1} << 40); },
                     "has its grain directory past the end of the file"},
        hostile_case{"descriptor_past_file", [](auto& e) { e.put64(fmt::hdr_descriptor_offset, ~uint64_t{0} / 256); },
                     "has its embedded descriptor past the end of the file"},
        hostile_case{"descriptor_huge", [](auto& e) { e.put64(fmt::hdr_descriptor_size, ~uint64_t{0}); },
                     "has its embedded descriptor past the end of the file"},
        hostile_case{"directory_past_file", [](auto& e) { e.put64(fmt::hdr_gd_offset, 1u << 30); },
                     "has its grain directory past the end of the file"},
        hostile_case{"no_directory", [](auto& e) { e.put64(fmt::hdr_gd_offset, 0); }, "has no grain directory"},
        hostile_case{"table_past_file", [](auto& e) { e.put32(2 * 512 + 4, 0xFFFFFFF0); },
                     "has a grain table past the end of the file"},
        // 1024 directory entries all naming one 2 KiB table: 2 MiB of tables
        // claimed by a 12 KiB file.
        hostile_case{"tables_larger_than_file",
                     [](auto& e) {
                       e.put64(fmt::hdr_capacity, 1024 * 512);
                       e.put64(fmt::hdr_grain_size, 1);
                       e.put32(fmt::hdr_gtes_per_gt, 512);
                       e.put64(fmt::hdr_descriptor_offset, 0);
                       e.put64(fmt::hdr_gd_offset, 16);
                       for (size_t i = 0; i < 1024; ++i) e.put32(16 * 512 + 4 * i, 2);
                     },
                     "has grain tables larger than the file"},
        hostile_case{"no_descriptor", [](auto& e) { e.put64(fmt::hdr_descriptor_offset, 0); },
                     "is a sparse extent without a descriptor; give its descriptor file instead"},
        hostile_case{"not_kdmv", [](auto& e) { e.bytes[0] = 'X'; },
                     "is neither a VMDK descriptor nor a sparse extent"}),
    [](const auto& info) { return std::string(info.param.what); });

// A descriptor of several extents: 4 sectors of a flat file starting at its
// sector 2, 2 sectors of zeros, then the hand-made sparse extent.
TEST(vmdk_descriptor_file, extents_are_concatenated_in_order) {
  slix_test::temp_dir dir;
  std::vector<uint8_t> flat(4096);
  for (size_t i = 0; i < flat.size(); ++i) flat[i] = static_cast<uint8_t>(i % 251);
  slix_test::write_file(dir.file("flat.bin"), flat);
  slix_test::write_file(dir.file("my extent.vmdk"), sparse_builder().bytes);
  slix_test::write_text(dir.file("d.vmdk"),
                        "# Disk DescriptorFile\r\nCID=1234abcd\r\nparentCID=ffffffff\r\n"
                        "RW 4 FLAT \"flat.bin\" 2\r\nRDONLY 2 ZERO\r\nRW 64 SPARSE \"my extent.vmdk\"\r\n");
  const auto [source, messages] = open_collection(dir.file("d.vmdk"));
  ASSERT_TRUE(source) << messages;
  ASSERT_EQ(source->size(), 70u * 512);
  const std::vector<uint8_t> head = vmdk_test::read_at(*source, 0, 3072 + 8192);
  EXPECT_TRUE(std::equal(head.begin(), head.begin() + 2048, flat.begin() + 1024));
  EXPECT_TRUE(std::all_of(head.begin() + 2048, head.begin() + 3072, [](uint8_t b) { return b == 0; }));
  EXPECT_TRUE(std::all_of(head.begin() + 3072, head.begin() + 7168, [](uint8_t b) { return b == 0x11; }));
  EXPECT_TRUE(std::all_of(head.begin() + 7168, head.end(), [](uint8_t b) { return b == 0; }));
}

struct descriptor_refusal {
  const char* what;
  std::string extent_lines;
  std::string messages;  // "@" stands for the folder
};

class vmdk_descriptor_refusal : public ::testing::TestWithParam<descriptor_refusal> {};

TEST_P(vmdk_descriptor_refusal, names_the_cause) {
  slix_test::temp_dir dir;
  ASSERT_EQ(::mkfifo(dir.file("fifo").c_str(), 0600), 0);
  slix_test::write_text(dir.file("d.vmdk"), "CID=1\nparentCID=ffffffff\n" + GetParam().extent_lines);
  const auto [source, messages] = open_collection(dir.file("d.vmdk"));
  EXPECT_FALSE(source);
  std::string expected = GetParam().messages + "@/d.vmdk can't be opened\n" + invalid;
  for (size_t at; (at = expected.find('@')) != std::string::npos;) expected.replace(at, 1, dir.path());
  EXPECT_EQ(messages, expected);
}

INSTANTIATE_TEST_SUITE_P(
    cases, vmdk_descriptor_refusal,
    ::testing::Values(
        descriptor_refusal{"no_extent", "", "@/d.vmdk names no extent\n"},
        descriptor_refusal{"cow", "RW 8 VMFSSPARSE \"s.vmdk\"\n",
                           "@/d.vmdk names a VMFSSPARSE extent, which slix does not read\n"},
        descriptor_refusal{"count", "RW eight FLAT \"f\"\n",
                           "@/d.vmdk has an extent line that cannot be read: RW eight FLAT \"f\"\n"},
        descriptor_refusal{"noaccess", "NOACCESS 8 FLAT \"f\"\n",
                           "@/d.vmdk has a NOACCESS extent, whose data is not available\n"},
        descriptor_refusal{"fifo", "RW 8 FLAT \"fifo\"\n", "@/fifo can't be opened\n"},
        descriptor_refusal{"terminal_escape", "RW 8 FLAT \"\x1b[2Jf\"\n", "@/\\x1b[2Jf can't be opened\n"},
        descriptor_refusal{"too_big", "RW 70368744177664 ZERO\nRW 1 ZERO\n",
                           "@/d.vmdk describes a disk larger than 70368744177664 sectors\n"}),
    [](const auto& info) { return std::string(info.param.what); });

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

class vmdk_chain_rules : public ::testing::TestWithParam<chain_case> {};

TEST_P(vmdk_chain_rules, order_or_fault) {
  const vmdk_chain_order order = order_vmdk_chain(GetParam().members);
  EXPECT_EQ(order.fault, GetParam().fault);
  EXPECT_EQ(order.newest_first, GetParam().newest_first);
}

using F = vmdk_chain_fault;
INSTANTIATE_TEST_SUITE_P(
    cases, vmdk_chain_rules,
    ::testing::Values(chain_case{"single_base", {{"a", "ffffffff"}}, F::none, {0}},
                      chain_case{"shuffled_three", {{"c", "b"}, {"a", "ffffffff"}, {"b", "a"}}, F::none, {0, 2, 1}},
                      chain_case{"lone_child", {{"b", "a"}}, F::missing_parent, {}},
                      chain_case{"duplicate_cid", {{"a", "ffffffff"}, {"a", "ffffffff"}}, F::cid_errors, {}},
                      chain_case{"own_parent", {{"a", "a"}}, F::cid_errors, {}},
                      chain_case{"two_children", {{"a", "ffffffff"}, {"b", "a"}, {"c", "a"}}, F::cid_errors, {}},
                      chain_case{"two_bases", {{"a", "ffffffff"}, {"b", "ffffffff"}}, F::cid_errors, {}},
                      chain_case{"loop", {{"a", "b"}, {"b", "a"}}, F::cid_errors, {}},
                      chain_case{"loop_beside_chain",
                                 {{"a", "ffffffff"}, {"b", "a"}, {"c", "d"}, {"d", "c"}},
                                 F::cid_errors,
                                 {}}),
    [](const auto& info) { return std::string(info.param.what); });

TEST(vmdk_list, names_are_split_trimmed_and_placed_in_the_first_folder) {
  using list = std::vector<std::string>;
  EXPECT_EQ(split_vmdk_list(""), list{});
  EXPECT_EQ(split_vmdk_list(" | |"), list{});
  EXPECT_EQ(split_vmdk_list("a.vmdk"), list{"a.vmdk"});
  EXPECT_EQ(split_vmdk_list(" /x/a b.vmdk | b.vmdk ||c/d.vmdk"), (list{"/x/a b.vmdk", "/x/b.vmdk", "c/d.vmdk"}));
}

}  // namespace
