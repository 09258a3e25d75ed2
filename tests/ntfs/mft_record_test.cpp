#include "ntfs/mft_record.h"

#include <gtest/gtest.h>

#include "byte_builder.h"
#include "ntfs/attributes.h"
#include "ntfs/reparse_point.h"

namespace {

using namespace build;

byte_array sample_record(size_t size = 1024) {
  return file_record({resident(mf::type_file_name, "", file_name({.name = "report.txt"})),
                      non_resident(mf::type_data, "", mapping_pairs({{3, 20}}), 0, 3 * 4096)},
                     7, mf::rec_flag_in_use, size);
}

// The last word of the first protected block.
constexpr size_t first_block_end = ms::usa_block - 2;

struct fixup_case {
  const char* what;
  size_t at;
  uint64_t value;
  size_t width;
  record_kind kind;
  bool repaired;
};

class record_fixup : public testing::TestWithParam<fixup_case> {};

TEST_P(record_fixup, checks_the_header_then_restores_every_protected_word) {
  const fixup_case& c = GetParam();
  byte_array rec = sample_record();
  ASSERT_EQ(u16_at(rec, first_block_end), 0x0101);
  if (c.width != 0) put(rec, c.at, c.value, c.width);
  const byte_array before = rec;
  EXPECT_EQ(fix_up_record(rec, ms::usa_block), c.kind);
  if (!c.repaired) {
    EXPECT_EQ(rec, before);
    return;
  }
  EXPECT_EQ(u16_at(rec, first_block_end), 0);
  EXPECT_EQ(u16_at(rec, 2 * ms::usa_block - 2), 0);
  EXPECT_EQ(read_record_header(rec).sequence, 7);
}

INSTANTIATE_TEST_SUITE_P(
    cases, record_fixup,
    testing::Values(fixup_case{"intact", 0, 0, 0, record_kind::file, true},
                    // A sector written after the others is repaired without comparison.
                    fixup_case{"torn", first_block_end, 0xBEEF, 2, record_kind::file, true},
                    fixup_case{"indx", ms::signature, ms::signature_indx, 4, record_kind::indx, true},
                    fixup_case{"count_1", ms::usa_count, 1, 2, record_kind::file, false},
                    fixup_case{"array_at_0x2A", ms::usa_offset, 0x2A, 2, record_kind::invalid, false},
                    fixup_case{"count_10", ms::usa_count, 10, 2, record_kind::invalid, false},
                    fixup_case{"first_attribute_0x49", mf::rec_first_attribute, 0x49, 2, record_kind::invalid, false},
                    fixup_case{"baad", ms::signature, ms::signature_baad, 4, record_kind::baad, false},
                    fixup_case{"zeros", ms::signature, 0, 4, record_kind::invalid, false}),
    [](const auto& info) { return std::string(info.param.what); });

// A 4096-byte record on 4096-byte sectors is fixed up in the golden cases
// on vol_4k_sector.
TEST(record_fixup_stride, is_512_unless_the_count_says_sector_size) {
  EXPECT_EQ(fixup_stride(4096, 9, 4096), 512u);  // what Windows and mkntfs write on 4K sectors
  EXPECT_EQ(fixup_stride(4096, 2, 4096), 4096u);
  EXPECT_EQ(fixup_stride(1024, 3, 512), 512u);
  byte_array rec = sample_record(4096);
  EXPECT_EQ(implied_record_size(rec), 4096u);
  put(rec, ms::usa_count, 1, 2);
  EXPECT_EQ(implied_record_size(rec), 0u);
}

TEST(attribute_walk, damaged_lengths_end_the_walk) {
  const byte_array intact = sample_record();
  const size_t first = u16_at(intact, mf::rec_first_attribute);
  const size_t second = first + vk::le_reader(intact).u32(first + mf::attr_length);
  for (uint32_t length : {0u, 8u, 1025u, 2000u}) {
    byte_array rec = intact;
    fix_up_record(rec, ms::usa_block);
    put(rec, second + mf::attr_length, length, 4);
    EXPECT_EQ(attribute_spans(rec).size(), 1u) << length;
  }
  byte_array rec = intact;
  put(rec, mf::rec_first_attribute, 1020, 2);  // too close to the end for a header
  EXPECT_TRUE(attribute_spans(rec).empty());
}

// Junctions and absolute and relative symbolic links made by ntfs-3g are
// followed in the golden cases (vol_path_junction, ...); these are the
// values it does not write.
TEST(reparse_point, print_name_other_tags_and_cut_values) {
  link_target target;
  ASSERT_TRUE(read_link_target(link_value(mf::reparse_tag_symlink, "", "D:\\only print"), target));
  EXPECT_EQ(target.path, "\\only print");
  EXPECT_FALSE(target.relative);
  EXPECT_FALSE(read_link_target(link_value(0x80000017, "\\??\\C:\\x", ""), target));  // not a link
  byte_array cut = link_value(mf::reparse_tag_mount_point, "\\??\\C:\\nested", "");
  cut.resize(30);
  EXPECT_FALSE(read_link_target(cut, target));
}

}  // namespace
