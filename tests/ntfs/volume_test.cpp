#include <gtest/gtest.h>

#include <set>

#include "disk/memory_disk.h"
#include "app/directory_streams.h"
#include "ntfs/directory_tree.h"
#include "ntfs/mft_record.h"
#include "ntfs/ntfs.h"
#include "ntfs_builder.h"

namespace {

using namespace ntfs_build;

struct hostile_field {
  const char* what;
  size_t off;
  uint64_t value;
  size_t width;
};

class HostileBootSector : public ::testing::TestWithParam<hostile_field> {};

TEST_P(HostileBootSector, IsRefusedWithoutHarm) {
  volume vol;
  put(vol.bytes, GetParam().off, GetParam().value, GetParam().width);
  memory_disk source(vol.bytes);
  EXPECT_EQ(CNtfs::open(source, 0), nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Fields, HostileBootSector,
    ::testing::Values(hostile_field{"oem", 6, 'X', 1}, hostile_field{"sector 0", 11, 0, 2},
                      hostile_field{"sector 100", 11, 100, 2}, hostile_field{"sector 8192", 11, 8192, 2},
                      hostile_field{"spc 0", 13, 0, 1}, hostile_field{"spc 3", 13, 3, 1},
                      hostile_field{"cluster 32 MiB", 13, 0xF0, 1}, hostile_field{"record 32 clusters", 64, 0x20, 1},
                      hostile_field{"record 2^32", 64, 0xE0, 1}, hostile_field{"mft lcn overflow", 48, 1ULL << 60, 8},
                      hostile_field{"mft lcn past the disk", 48, 1000000, 8},
                      hostile_field{"record 0 unsigned", 4 * 4096, 0, 4},
                      hostile_field{"record 0 array at 0x2A", 4 * 4096 + 4, 0x2A, 2}));

TEST(Volume, GeometryFromTheBootSector) {
  volume vol;
  memory_disk source(vol.bytes);
  std::unique_ptr<CNtfs> ntfs_volume = CNtfs::open(source, 0);
  ASSERT_TRUE(ntfs_volume);
  CNtfs& ntfs = *ntfs_volume;
  EXPECT_EQ(ntfs.cluster_size(), 4096u);
  EXPECT_EQ(ntfs.sectors_per_cluster(), 8u);
  EXPECT_EQ(ntfs.bytes_per_sector(), 512u);
  EXPECT_EQ(ntfs.total_clusters(), 255u);
  EXPECT_EQ(ntfs.mft_record_size(), 1024u);  // 0xF6
  EXPECT_EQ(ntfs.mft_cluster_per_record_fixed(), 0u);
  EXPECT_EQ(ntfs.index_record_size(), 4096u);
  EXPECT_EQ(ntfs.mft_file_pos(), 4u * 4096);
  EXPECT_EQ(ntfs.mft_record_count(), 32u);
  EXPECT_EQ(ntfs.record_position(3), 4u * 4096 + 3 * 1024);
  EXPECT_FALSE(ntfs.record_position(32));  // past the runlist
  put(vol.bytes, 64, 0, 1);  // no clusters-per-record: 1024-byte records
  memory_disk zero_source(vol.bytes);
  std::unique_ptr<CNtfs> zero_volume = CNtfs::open(zero_source, 0);
  ASSERT_TRUE(zero_volume);
  CNtfs& zero = *zero_volume;
  EXPECT_EQ(zero.mft_record_size(), 1024u);
}

TEST(Volume, LargeClustersUseTheExponentForm) {
  volume vol;
  put(vol.bytes, 13, 0xF4, 1);  // 2^12 sectors: 2 MiB clusters, $MFT then lies past this small image
  memory_disk source(vol.bytes);
  EXPECT_EQ(CNtfs::open(source, 0), nullptr);
  NTFS_BOOT boot;
  ASSERT_TRUE(parse_boot_sector(std::span(vol.bytes).first(512), boot));
  const std::optional<ntfs_geometry> geometry = geometry_of(boot);
  ASSERT_TRUE(geometry);
  EXPECT_EQ(geometry->cluster_size, 2u * 1024 * 1024);
  EXPECT_EQ(geometry->sectors_per_cluster, 4096u);
}

TEST(Volume, RecordZeroOf4096BytesWinsOverTheBootSector) {
  volume vol;
  vol.place(4 * 4096, file_record({non_resident(0x80, "", mapping_pairs({{8, 4}}), 0, 8 * 4096)}, 1, 1, 4096));
  vol.place(4 * 4096 + 2 * 4096, file_record({}, 9, 1, 4096));
  memory_disk source(vol.bytes);
  std::unique_ptr<CNtfs> ntfs_volume = CNtfs::open(source, 0);
  ASSERT_TRUE(ntfs_volume);
  CNtfs& ntfs = *ntfs_volume;
  EXPECT_EQ(ntfs.mft_record_size(), 4096u);
  EXPECT_EQ(ntfs.mft_record_count(), 8u);
  byte_array record;
  bool bad = false;
  ASSERT_TRUE(ntfs.fetch_record(record, bad, 2));
  EXPECT_EQ(read_record_header(record).sequence, 9);
}

TEST(Volume, FetchOutcomes) {
  volume vol;
  byte_array baad = file_record({}, 4);
  put(baad, 0, 0x44414142, 4);
  vol.set_record(1, baad);
  byte_array old_layout = file_record({}, 4);
  put(old_layout, 4, 0x2A, 2);
  vol.set_record(2, old_layout);
  memory_disk source(vol.bytes);
  std::unique_ptr<CNtfs> ntfs_volume = CNtfs::open(source, 0);
  ASSERT_TRUE(ntfs_volume);
  CNtfs& ntfs = *ntfs_volume;
  byte_array record;
  bool bad = false;
  ASSERT_TRUE(ntfs.fetch_record(record, bad, 1));
  EXPECT_TRUE(bad);
  EXPECT_EQ(record, baad);  // returned unrepaired
  EXPECT_FALSE(ntfs.fetch_record(record, bad, 2));
  EXPECT_FALSE(bad);
  EXPECT_FALSE(ntfs.fetch_record(record, bad, 40));  // the boot sector is read, and refused
  EXPECT_FALSE(ntfs.fetch_record(record, bad, 1ULL << 47));
}

// $MFT in two extents, the second described by its extension record 15.
TEST(Volume, FragmentedMftThroughItsAttributeList) {
  volume vol(256, 16);
  byte_array list;
  auto list_entry = [&list](uint32_t type, uint64_t first_vcn, mft_ref holder, uint16_t id) {
    const size_t at = list.size();
    put(list, at, type, 4);
    put(list, at + 4, 32, 2);
    put(list, at + 8, first_vcn, 8);
    put(list, at + 16, holder, 8);
    put(list, at + 24, id, 2);
    list.resize(at + 32);
  };
  list_entry(0x80, 0, make_mft_ref(0, 1), 1);
  list_entry(0x80, 4, make_mft_ref(15, 1), 0);
  list_entry(0x80, 8, make_mft_ref(15, 1), 7);  // no attribute has this id
  vol.set_record(0, file_record({resident(0x20, "", list),
                                 non_resident(0x80, "", mapping_pairs({{4, 4}}), 0, 32 * 1024, 1)}));
  vol.set_record(15, file_record({non_resident(0x80, "", mapping_pairs({{4, 100}}), 4, 0)}, 1, 1, 1024, 0));
  vol.place(100 * 4096 + 4 * 1024, file_record({}, 77));
  memory_disk source(vol.bytes);
  std::unique_ptr<CNtfs> ntfs_volume = CNtfs::open(source, 0);
  ASSERT_TRUE(ntfs_volume);
  CNtfs& ntfs = *ntfs_volume;
  EXPECT_EQ(ntfs.mft_runs().size(), 2u);
  EXPECT_EQ(ntfs.mft_record_count(), 32u);
  byte_array record;
  bool bad = false;
  ASSERT_TRUE(ntfs.fetch_record(record, bad, 20));
  EXPECT_EQ(read_record_header(record).sequence, 77);
}

TEST(Volume, AttributeListNamingItselfOrNoRecord) {
  volume vol;
  byte_array list(96);
  for (size_t i = 0; i < 3; ++i) {
    put(list, 32 * i, 0x80, 4);
    put(list, 32 * i + 4, 32, 2);
  }
  put(list, 16, make_mft_ref(8, 1), 8);  // the record itself
  put(list, 48, make_mft_ref(9, 1), 8);  // an empty record
  put(list, 80, make_mft_ref(4000, 1), 8);  // past the runlist
  vol.set_record(8, file_record({resident(0x20, "", list), resident(0x80, "", {1, 2, 3})}));
  memory_disk source(vol.bytes);
  std::unique_ptr<CNtfs> ntfs_volume = CNtfs::open(source, 0);
  ASSERT_TRUE(ntfs_volume);
  CNtfs& ntfs = *ntfs_volume;
  mft_record record;
  ASSERT_TRUE(load_mft_record(ntfs, 8, record));
  EXPECT_EQ(record.attributes.size(), 2u);
}

TEST(Volume, RunlistsClaimingHugeClusterCountsAreCapped) {
  volume vol;
  vol.set_record(0, file_record({non_resident(0x80, "", mapping_pairs({{1ULL << 40, 4}}), 0, 0)}));
  const byte_array pairs = mapping_pairs({{1ULL << 40, sparse}});
  vol.set_record(5, file_record({resident(0x90, "$I30", index_root_value({})),
                                 non_resident(0xA0, "$I30", pairs, 0, 0)},
                                5, 3));
  memory_disk source(vol.bytes);
  std::unique_ptr<CNtfs> ntfs_volume = CNtfs::open(source, 0);
  ASSERT_TRUE(ntfs_volume);
  CNtfs& ntfs = *ntfs_volume;
  EXPECT_EQ(ntfs.mft_record_count(), vol.bytes.size() / 1024);
  std::set<uint64_t> dirs;
  ASSERT_TRUE(list_directories(ntfs, dirs));
  EXPECT_EQ(dirs, std::set<uint64_t>{5});
  directory_index index;
  analyse_directory(ntfs, indx_options{}, 5, 5, index);
  EXPECT_LE(index.alloc.size(), vol.bytes.size());
}

}  // namespace
