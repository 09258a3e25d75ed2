#include <gtest/gtest.h>

#include <set>

#include "app/directory_streams.h"
#include "byte_builder.h"
#include "disk/memory_disk.h"
#include "ntfs/directory_tree.h"
#include "ntfs/mft_record.h"
#include "ntfs/ntfs.h"

namespace {

using namespace build;

struct hostile_field {
  const char* what;
  size_t at;
  uint64_t value;
  size_t width;
};

class hostile_boot_sector : public testing::TestWithParam<hostile_field> {};

TEST_P(hostile_boot_sector, is_refused_without_harm) {
  volume vol;
  put(vol.bytes, GetParam().at, GetParam().value, GetParam().width);
  memory_disk source(vol.bytes);
  EXPECT_EQ(CNtfs::open(source, 0), nullptr);
}

INSTANTIATE_TEST_SUITE_P(fields, hostile_boot_sector,
                         testing::Values(hostile_field{"oem", bs::oem_name + 3, 'X', 1},
                                         hostile_field{"sector_0", bs::bytes_per_sector, 0, 2},
                                         hostile_field{"sector_100", bs::bytes_per_sector, 100, 2},
                                         hostile_field{"sector_8192", bs::bytes_per_sector, 8192, 2},
                                         hostile_field{"spc_0", bs::sectors_per_cluster, 0, 1},
                                         hostile_field{"spc_3", bs::sectors_per_cluster, 3, 1},
                                         hostile_field{"cluster_32_mib", bs::sectors_per_cluster, 0xF0, 1},
                                         hostile_field{"record_32_clusters", bs::ntfs_clusters_per_mft_record, 0x20, 1},
                                         hostile_field{"record_2_pow_32", bs::ntfs_clusters_per_mft_record, 0xE0, 1},
                                         hostile_field{"mft_lcn_overflow", bs::ntfs_mft_lcn, 1ULL << 60, 8},
                                         hostile_field{"mft_lcn_past_the_disk", bs::ntfs_mft_lcn, 1000000, 8},
                                         hostile_field{"record_0_unsigned", volume::record_at(0) + ms::signature, 0, 4},
                                         hostile_field{"record_0_array_at_0x2A", volume::record_at(0) + ms::usa_offset,
                                                       0x2A, 2}),
                         [](const auto& info) { return std::string(info.param.what); });

std::unique_ptr<CNtfs> open_volume(memory_disk& source) {
  std::unique_ptr<CNtfs> ntfs = CNtfs::open(source, 0);
  EXPECT_TRUE(ntfs);
  return ntfs;
}

TEST(volume, geometry_from_the_boot_sector) {
  volume vol;
  memory_disk source(vol.bytes);
  const auto ntfs = open_volume(source);
  ASSERT_TRUE(ntfs);
  EXPECT_EQ(ntfs->total_clusters(), 255u);
  EXPECT_EQ(ntfs->mft_cluster_per_record_fixed(), 0u);
  EXPECT_EQ(ntfs->mft_record_count(), 32u);
  EXPECT_EQ(ntfs->record_position(3), volume::record_at(3));
  EXPECT_FALSE(ntfs->record_position(32));                 // past the runlist
  put(vol.bytes, bs::ntfs_clusters_per_mft_record, 0, 1);  // none given: 1024-byte records
  memory_disk zero_source(vol.bytes);
  const auto zero = open_volume(zero_source);
  ASSERT_TRUE(zero);
  EXPECT_EQ(zero->mft_record_size(), 1024u);
}

TEST(volume, large_clusters_use_the_exponent_form) {
  volume vol;
  put(vol.bytes, bs::sectors_per_cluster, 0xF4, 1);  // 2^12 sectors: $MFT then lies past this small image
  memory_disk source(vol.bytes);
  EXPECT_EQ(CNtfs::open(source, 0), nullptr);
  NTFS_BOOT boot;
  ASSERT_TRUE(parse_boot_sector(std::span(vol.bytes).first(bs::size), boot));
  const std::optional<ntfs_geometry> geometry = geometry_of(boot);
  ASSERT_TRUE(geometry);
  EXPECT_EQ(geometry->cluster_size, 2u * 1024 * 1024);
  EXPECT_EQ(geometry->sectors_per_cluster, 4096u);
}

TEST(volume, record_zero_of_4096_bytes_wins_over_the_boot_sector) {
  volume vol;
  vol.place(volume::record_at(0),
            file_record({non_resident(mf::type_data, "", mapping_pairs({{8, 4}}), 0, 8 * 4096)}, 1, 1, 4096));
  vol.place(volume::record_at(0) + 2 * 4096, file_record({}, 9, 1, 4096));
  memory_disk source(vol.bytes);
  const auto ntfs = open_volume(source);
  ASSERT_TRUE(ntfs);
  EXPECT_EQ(ntfs->mft_record_size(), 4096u);
  EXPECT_EQ(ntfs->mft_record_count(), 8u);
  byte_array record;
  bool bad = false;
  ASSERT_TRUE(ntfs->fetch_record(record, bad, 2));
  EXPECT_EQ(read_record_header(record).sequence, 9);
}

TEST(volume, fetch_outcomes) {
  volume vol;
  byte_array baad = file_record({}, 4);
  put(baad, ms::signature, ms::signature_baad, 4);
  vol.set_record(1, baad);
  byte_array old_layout = file_record({}, 4);
  put(old_layout, ms::usa_offset, 0x2A, 2);
  vol.set_record(2, old_layout);
  memory_disk source(vol.bytes);
  const auto ntfs = open_volume(source);
  ASSERT_TRUE(ntfs);
  byte_array record;
  bool bad = false;
  ASSERT_TRUE(ntfs->fetch_record(record, bad, 1));
  EXPECT_TRUE(bad);
  EXPECT_EQ(record, baad);  // returned unrepaired
  EXPECT_FALSE(ntfs->fetch_record(record, bad, 2));
  EXPECT_FALSE(bad);
  EXPECT_FALSE(ntfs->fetch_record(record, bad, 40));  // the boot sector is read, and refused
  EXPECT_FALSE(ntfs->fetch_record(record, bad, 1ULL << 47));
}

// $MFT in two extents, the second described by its extension record 15.
TEST(volume, fragmented_mft_through_its_attribute_list) {
  volume vol(256, 16);
  byte_array list = list_entry(mf::type_data, 0, make_mft_ref(0, 1), 1);
  append(list, list_entry(mf::type_data, 4, make_mft_ref(15, 1), 0));
  append(list, list_entry(mf::type_data, 8, make_mft_ref(15, 1), 7));  // no attribute has this id
  vol.set_record(0, file_record({resident(mf::type_attribute_list, "", list),
                                 non_resident(mf::type_data, "", mapping_pairs({{4, 4}}), 0, 32 * 1024, 1)}));
  vol.set_record(15, file_record({non_resident(mf::type_data, "", mapping_pairs({{4, 100}}), 4, 0)}));
  vol.place(100 * volume::cluster + 4 * volume::record, file_record({}, 77));
  memory_disk source(vol.bytes);
  const auto ntfs = open_volume(source);
  ASSERT_TRUE(ntfs);
  EXPECT_EQ(ntfs->mft_runs().size(), 2u);
  EXPECT_EQ(ntfs->mft_record_count(), 32u);
  byte_array record;
  bool bad = false;
  ASSERT_TRUE(ntfs->fetch_record(record, bad, 20));
  EXPECT_EQ(read_record_header(record).sequence, 77);
}

TEST(volume, attribute_list_naming_itself_or_no_record) {
  volume vol;
  byte_array list;
  for (const mft_ref holder :
       {make_mft_ref(8, 1), make_mft_ref(9, 1), make_mft_ref(4000, 1)})  // itself, empty, past the runlist
    append(list, list_entry(mf::type_data, 0, holder, 0));
  vol.set_record(8, file_record({resident(mf::type_attribute_list, "", list), resident(mf::type_data, "", {1, 2, 3})}));
  memory_disk source(vol.bytes);
  const auto ntfs = open_volume(source);
  ASSERT_TRUE(ntfs);
  mft_record record;
  ASSERT_TRUE(load_mft_record(*ntfs, 8, record));
  EXPECT_EQ(record.attributes.size(), 2u);
}

TEST(volume, runlists_claiming_huge_cluster_counts_are_capped) {
  volume vol;
  vol.set_record(0, file_record({non_resident(mf::type_data, "", mapping_pairs({{1ULL << 40, 4}}), 0, 0)}));
  vol.set_record(
      5, file_record({resident(mf::type_index_root, "$I30", index_root_value({})),
                      non_resident(mf::type_index_allocation, "$I30", mapping_pairs({{1ULL << 40, sparse}}), 0, 0)},
                     5, mf::rec_flag_in_use | mf::rec_flag_directory));
  memory_disk source(vol.bytes);
  const auto ntfs = open_volume(source);
  ASSERT_TRUE(ntfs);
  EXPECT_EQ(ntfs->mft_record_count(), vol.bytes.size() / volume::record);
  std::set<uint64_t> dirs;
  ASSERT_TRUE(list_directories(*ntfs, dirs));
  EXPECT_EQ(dirs, std::set<uint64_t>{5});
  directory_index index;
  analyse_directory(*ntfs, indx_options{}, 5, 5, index);
  EXPECT_LE(index.alloc.size(), vol.bytes.size());
}

}  // namespace
