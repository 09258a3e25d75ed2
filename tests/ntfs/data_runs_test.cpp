#include <gtest/gtest.h>

#include "ntfs/data_runs.h"
#include "ntfs_builder.h"

namespace {

using ntfs_build::non_resident;

data_run_list decode(const byte_array& pairs, uint64_t first_vcn = 0) {
  data_run_list runs;
  EXPECT_TRUE(decode_mapping_pairs(non_resident(0xA0, "$I30", pairs, first_vcn, 0), runs));
  return runs;
}

TEST(MappingPairs, OneCountByteTwoOffsetBytes) {
  const data_run_list runs = decode({0x21, 0x10, 0x01, 0x04, 0x00});
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].cluster_count, 16u);
  EXPECT_EQ(runs[0].lcn, 1025);
  EXPECT_EQ(runs[0].first_vcn, 0u);
}

TEST(MappingPairs, NegativeDeltaAndSparseRun) {
  // 16 clusters at 1025, 4 clusters 16 back, 8 sparse, 2 at 1009 + 0x20.
  const data_run_list runs = decode({0x21, 0x10, 0x01, 0x04, 0x11, 0x04, 0xF0, 0x01, 0x08, 0x11, 0x02, 0x20, 0x00}, 100);
  ASSERT_EQ(runs.size(), 4u);
  EXPECT_EQ(runs[1].lcn, 1009);
  EXPECT_TRUE(runs[2].sparse);
  EXPECT_EQ(runs[2].lcn, 1009);
  EXPECT_EQ(runs[2].first_vcn, 120u);
  EXPECT_EQ(runs[3].lcn, 1009 + 0x20);
  EXPECT_EQ(runs[3].first_vcn, 128u);
  EXPECT_EQ(total_clusters(runs), 30u);
}

TEST(MappingPairs, EndsAtTheAttributeWithoutATerminator) {
  // The attribute is padded to 8 bytes with zeros; fill the padding with a
  // pair that would run past the end instead.
  byte_array attr = non_resident(0x80, "", {0x11, 0x05, 0x10}, 0, 0);
  ASSERT_EQ(attr.size(), 72u);
  for (size_t i = 67; i < 72; ++i) attr[i] = 0x44;
  data_run_list runs;
  EXPECT_TRUE(decode_mapping_pairs(attr, runs));
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].lcn, 0x10);
}

TEST(MappingPairs, MalformedPairsEndQuietly) {
  EXPECT_EQ(decode({0x91, 0x01, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0}).size(), 0u);  // 9-byte offset field
  EXPECT_EQ(decode({0x11, 0x01, 0x02, 0x19, 0x01}).size(), 1u);  // 9-byte count field
  data_run_list runs;
  EXPECT_FALSE(decode_mapping_pairs({}, runs));
}

TEST(MappingPairs, WideFieldsDoNotOverflow) {
  // Eight-byte count and an eight-byte delta of -2^63.
  const data_run_list runs =
      decode({0x88, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F, 0, 0, 0, 0, 0, 0, 0, 0x80, 0});
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].lcn, INT64_MIN);
  EXPECT_FALSE(locate_vcn(runs, 5, 4096).has_value());
}

TEST(LocateVcn, MapsThroughRunsAndGaps) {
  const data_run_list runs = decode(ntfs_build::mapping_pairs({{4, 100}, {2, ntfs_build::sparse}, {3, -50}}));
  struct probe {
    uint64_t vcn;
    bool found, sparse;
    uint64_t position, left;
  };
  for (const probe& p : {probe{0, true, false, 100 * 512, 4}, probe{3, true, false, 103 * 512, 1},
                         probe{4, true, true, 0, 2}, probe{6, true, false, 50 * 512, 3},
                         probe{8, true, false, 52 * 512, 1}, probe{9, false, false, 0, 0}}) {
    SCOPED_TRACE(p.vcn);
    const auto where = locate_vcn(runs, p.vcn, 512);
    ASSERT_EQ(where.has_value(), p.found);
    if (!p.found) continue;
    EXPECT_EQ(where->sparse, p.sparse);
    if (!p.sparse) {
      EXPECT_EQ(where->position, p.position);
    }
    EXPECT_EQ(where->clusters_left, p.left);
  }
}

}  // namespace
