// Volumes made by Windows (../shared/testdata) and by mkntfs and ntfs-3g
// (tests/fixtures), checked against their documented facts.  Whole listings
// are compared with The Sleuth Kit by the end-to-end tests of tests/app.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <set>

#include "disk/image_disk.h"
#include "app/directory_streams.h"
#include "ntfs/directory_tree.h"
#include "ntfs/file_name.h"
#include "ntfs/mft_record.h"
#include "ntfs/ntfs.h"
#include "ntfs/path_lookup.h"
#include "test_support.h"

namespace {

// A compressed image decompressed into a temporary folder and opened.
struct opened_volume {
  opened_volume(const std::string& gz, uint64_t offset) {
    image = tmp.file("volume.img");
    EXPECT_TRUE(slix_test::gunzip(gz, image)) << gz;
    source = std::make_unique<image_disk>(image);
    ntfs = CNtfs::open(*source, offset);
  }
  slix_test::temp_dir tmp;
  std::string image;
  std::unique_ptr<image_disk> source;
  std::unique_ptr<CNtfs> ntfs;
};

struct directory_names {
  std::multiset<std::string> valid, slack;
  std::map<std::string, indx_entry> by_name;
};

directory_names analyse(CNtfs& ntfs, uint64_t entry) {
  directory_names names;
  uint16_t seq = 0;
  EXPECT_TRUE(record_sequence(ntfs, entry, seq));
  directory_index index;
  analyse_directory(ntfs, indx_options{}, entry, seq, index);
  for (const auto& [time, e] : index.report.by_time) {
    (e.is_valid ? names.valid : names.slack).insert(e.name);
    names.by_name.emplace(e.name + (e.is_valid ? "" : "/slack"), e);
  }
  return names;
}

uint64_t resolve(CNtfs& ntfs, const std::string& path) {
  uint64_t entry = 0;
  uint16_t seq = 0;
  EXPECT_TRUE(entry_of_path(ntfs, path, children_of_directories(ntfs), entry, seq)) << path;
  return entry;
}

TEST(WindowsVolume, TestDirValidAndSlackEntries) {
  SLIX_REQUIRE_SHARED_TESTDATA(data);
  opened_volume vol(data + "/ntfs_index.raw.gz", 0x10000);
  CNtfs& ntfs = *vol.ntfs;
  EXPECT_EQ(ntfs.cluster_size(), 2048u);
  EXPECT_EQ(ntfs.mft_record_size(), 1024u);
  EXPECT_EQ(ntfs.index_record_size(), 4096u);
  ASSERT_EQ(resolve(ntfs, "\\test_dir"), 39u);
  EXPECT_EQ(resolve(ntfs, "C:\\TEST_DIR\\"), 39u);
  const directory_names names = analyse(ntfs, 39);
  EXPECT_EQ(names.valid, (std::multiset<std::string>{"111111111111111.txt", "222222222222222.txt", "333333333333333.txt",
                                                    "444444444444444.txt", "555555555555555.txt", "666666666666666.txt",
                                                    "777777777777777.txt", "999999999999999.txt", "AAAAAAAAAAA.txt"}));
  EXPECT_EQ(names.slack, (std::multiset<std::string>{"AAAAAAAAAAA.txt", "AAAAAAAAAAA.txt", "BBBBBBBBBBBBB-del.txt"}));
  EXPECT_EQ(names.by_name.at("BBBBBBBBBBBBB-del.txt/slack").annotation, "deleted");
  uint16_t ref_seq = 0, rec_seq = 0;
  EXPECT_EQ(path_of_entry(ntfs, 39, ref_seq, rec_seq), "\\test_dir\\");
  EXPECT_EQ(rec_seq, 1);
}

// Records of this volume past entry 26 keep their update sequence array at
// 0x2A, the layout of NTFS 3.0; such a record is refused.
TEST(WindowsVolume, OldRecordLayoutIsRefused) {
  SLIX_REQUIRE_SHARED_TESTDATA(data);
  opened_volume vol(data + "/ntfs3_attrlist.raw.gz", 0);
  ASSERT_TRUE(vol.ntfs);
  byte_array record;
  bool bad = false;
  EXPECT_TRUE(vol.ntfs->fetch_record(record, bad, 5));
  EXPECT_FALSE(vol.ntfs->fetch_record(record, bad, 27));
  EXPECT_FALSE(analyse(*vol.ntfs, 5).valid.empty());
}

std::string fixture_or_skip(const std::string& name) {
  const std::string path = slix_test::fixture(name);
  return std::filesystem::exists(path) ? path : std::string();
}

TEST(FixtureVolume, LinksAttributeListsAndPaths) {
  const std::string gz = fixture_or_skip("vol_nested.img.gz");
  if (gz.empty()) GTEST_SKIP() << "vol_nested.img.gz is absent";
  opened_volume vol(gz, 0);
  CNtfs& ntfs = *vol.ntfs;
  EXPECT_EQ(resolve(ntfs, "\\links\\junction to b"), 70u);
  EXPECT_EQ(resolve(ntfs, "\\links\\symlink to c"), 73u);
  EXPECT_EQ(resolve(ntfs, "\\links\\relative to d"), 76u);
  EXPECT_EQ(resolve(ntfs, "\\links\\junction to b\\c\\d"), 76u);
  mft_record hard_linked;
  ASSERT_TRUE(load_mft_record(ntfs, 1923, hard_linked));
  size_t names = 0;
  for (const mft_attribute& attr : hard_linked.attributes) names += attr.type == 0x30;
  EXPECT_EQ(names, 42u);
  std::set<uint64_t> dirs;
  ASSERT_TRUE(list_directories(ntfs, dirs));
  const std::map<uint64_t, std::string> expected{
      {5, "\\"},           {64, "\\nested\\"},         {76, "\\nested\\a\\b\\c\\d\\"},
      {111, "\\nested\\a\\new folder name\\"},           {113, "\\nested\\a\\gone\\"},
      {115, "\\big\\"},    {116, "\\fill\\"},          {1922, "\\links\\relative to d\\"}};
  for (const auto& [entry, path] : expected) {
    uint16_t ref_seq = 0, rec_seq = 0;
    EXPECT_TRUE(dirs.count(entry)) << entry;
    EXPECT_EQ(path_of_entry(ntfs, entry, ref_seq, rec_seq), path);
  }
  EXPECT_EQ(dirs.size(), 16u);  // the 15 of the facts and $Extend
}

// Diagnostics of the volume layer go to the run log only, never to standard
// error, which golden outputs compare byte for byte.
TEST(FixtureVolume, DiagnosticsGoToTheRunLogOnly) {
  const std::string gz = fixture_or_skip("vol_nested.img.gz");
  if (gz.empty()) GTEST_SKIP() << "vol_nested.img.gz is absent";
  opened_volume vol(gz, 0);
  const std::string log = vol.tmp.file("run.log");
  const std::vector<std::string> args{"-image", vol.image, "-offset", "0", "-path", "\\links\\symlink to c", "-quiet"};
  const slix_test::run_result quiet = slix_test::run_slix(args);
  ::setenv("SLIX_DEBUG_LOG", log.c_str(), 1);
  const slix_test::run_result logged = slix_test::run_slix(args);
  ::unsetenv("SLIX_DEBUG_LOG");
  EXPECT_EQ(logged.status, 0);
  EXPECT_EQ(logged.err, quiet.err);
  EXPECT_EQ(logged.out, quiet.out);
  EXPECT_NE(slix_test::read_text(log).find("info: restart segments [link]\n"), std::string::npos);
}

}  // namespace
