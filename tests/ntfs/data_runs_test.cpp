#include "ntfs/data_runs.h"

#include <gtest/gtest.h>

#include "byte_builder.h"

namespace {

using namespace build;

data_run_list decode(const byte_array& pairs, uint64_t first_vcn = 0) {
  data_run_list runs;
  EXPECT_TRUE(decode_mapping_pairs(non_resident(mf::type_index_allocation, "$I30", pairs, first_vcn, 0), runs));
  return runs;
}

TEST(mapping_pairs, end_at_the_attribute_without_a_terminator) {
  // The attribute is padded to 8 bytes with zeros; fill the padding with a
  // pair that would run past the end instead.
  const byte_array pairs{0x11, 0x05, 0x10};
  byte_array attr = non_resident(mf::type_data, "", pairs, 0, 0);
  std::fill(attr.begin() + non_resident_header_size + pairs.size(), attr.end(), 0x44);
  data_run_list runs;
  EXPECT_TRUE(decode_mapping_pairs(attr, runs));
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].lcn, 0x10);
}

TEST(mapping_pairs, malformed_or_overwide_pairs_end_quietly) {
  EXPECT_EQ(decode({0x91, 0x01, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0}).size(), 0u);  // 9-byte offset field
  EXPECT_EQ(decode({0x11, 0x01, 0x02, 0x19, 0x01}).size(), 1u);              // 9-byte count field
  data_run_list runs;
  EXPECT_FALSE(decode_mapping_pairs({}, runs));
  // Eight-byte count and an eight-byte delta of -2^63 do not overflow.
  runs = decode({0x88, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F, 0, 0, 0, 0, 0, 0, 0, 0x80, 0});
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].lcn, INT64_MIN);
  EXPECT_FALSE(locate_vcn(runs, 5, 4096).has_value());
}

// 16 clusters at 1025, 4 clusters 16 back, 8 sparse, 2 at 1009 + 0x20.
TEST(locate_vcn, maps_through_a_negative_delta_and_a_sparse_run) {
  const byte_array pairs{0x21, 0x10, 0x01, 0x04, 0x11, 0x04, 0xF0, 0x01, 0x08, 0x11, 0x02, 0x20, 0x00};
  EXPECT_EQ(decode(pairs, 100).at(3).first_vcn, 128u);  // runs of an extension record start at its first VCN
  const data_run_list runs = decode(pairs);
  ASSERT_EQ(runs.size(), 4u);
  EXPECT_EQ(total_clusters(runs), 30u);
  struct probe {
    uint64_t vcn;
    bool found, sparse;
    uint64_t lcn, left;
  };
  for (const probe& p : {probe{0, true, false, 1025, 16}, probe{15, true, false, 1040, 1},
                         probe{16, true, false, 1009, 4}, probe{20, true, true, 0, 8}, probe{27, true, true, 0, 1},
                         probe{28, true, false, 1041, 2}, probe{30, false, false, 0, 0}}) {
    const auto where = locate_vcn(runs, p.vcn, 512);
    ASSERT_EQ(where.has_value(), p.found) << p.vcn;
    if (!p.found) continue;
    EXPECT_EQ(where->sparse, p.sparse) << p.vcn;
    if (!p.sparse) {
      EXPECT_EQ(where->position, p.lcn * 512) << p.vcn;
    }
    EXPECT_EQ(where->clusters_left, p.left) << p.vcn;
  }
}

// A stream cut into one-cluster runs over several extents, as a badly
// fragmented index keeps it: every VCN maps to its own cluster, the first and
// last of each extent included, and nothing past the end.  The third extent
// claims to start one VCN late, as a hostile list may: its runs map nothing.
TEST(locate_vcn, finds_every_cluster_of_a_stream_of_many_runs) {
  constexpr uint64_t per_extent = 3000;
  data_run_list runs;
  for (uint64_t extent = 0; extent < 3; ++extent) {
    // Cluster v of the stream lies at LCN 10,000 + 2v: one gap between runs.
    std::vector<std::pair<uint64_t, int64_t>> pairs{{1, static_cast<int64_t>(10000 + 2 * extent * per_extent)}};
    pairs.resize(per_extent, {1, 2});
    const uint64_t first_vcn = extent * per_extent + (extent == 2 ? 1 : 0);
    decode_mapping_pairs(non_resident(mf::type_index_allocation, "$I30", mapping_pairs(pairs), first_vcn, 0), runs);
  }
  ASSERT_EQ(runs.size(), 3 * per_extent);
  EXPECT_EQ(total_clusters(runs), 3 * per_extent);
  for (uint64_t vcn = 0; vcn < 2 * per_extent; ++vcn) {
    const auto where = locate_vcn(runs, vcn, 512);
    ASSERT_TRUE(where.has_value()) << vcn;
    EXPECT_EQ(where->position, (10000 + 2 * vcn) * 512) << vcn;
    EXPECT_EQ(where->clusters_left, 1u) << vcn;
  }
  for (const uint64_t vcn : {2 * per_extent, 2 * per_extent + 1, 3 * per_extent - 1, 3 * per_extent, UINT64_MAX})
    EXPECT_FALSE(locate_vcn(runs, vcn, 512).has_value()) << vcn;
}

}  // namespace
