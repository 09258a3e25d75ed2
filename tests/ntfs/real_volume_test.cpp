// Volumes made by Windows (../shared/testdata) and by mkntfs and ntfs-3g
// (tests/fixtures), checked against their documented facts and, where The
// Sleuth Kit is installed, against fls.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <set>
#include <sstream>

#include "disk/image_disk.h"
#include "indx/directory_index.h"
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
    ntfs = std::make_unique<CNtfs>(*source, offset);
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
  EXPECT_TRUE(entry_of_path(ntfs, path, entry, seq)) << path;
  return entry;
}

// The live names fls lists for one directory: "type inode-...:<tab>name";
// deleted lines carry a "*", and a file is listed once per named stream
// ("$Secure:$SDS") without its plain name when it has no unnamed data.
std::set<std::string> fls_live_names(const std::string& image, uint64_t sectors, uint64_t inode) {
  std::istringstream lines(slix_test::shell("fls -f ntfs -o " + std::to_string(sectors) + " '" + image + "' " +
                                            std::to_string(inode)));
  std::set<std::string> names;
  for (std::string line; std::getline(lines, line);) {
    const size_t tab = line.find('\t');
    if (tab == std::string::npos || line.find('*') < tab || line.starts_with("V/V")) continue;
    const std::string name = line.substr(tab + 1);
    names.insert(name.substr(0, name.find(':')));
  }
  return names;
}

std::set<uint64_t> fls_directories(const std::string& image, uint64_t sectors) {
  std::istringstream lines(slix_test::shell("fls -f ntfs -r -D -o " + std::to_string(sectors) + " '" + image + "'"));
  std::set<uint64_t> dirs{5};
  for (std::string line; std::getline(lines, line);) {
    const size_t type = line.find("d/d ");
    if (type != std::string::npos && line.find('*') == std::string::npos) dirs.insert(std::stoull(line.substr(type + 4)));
  }
  return dirs;
}

TEST(WindowsVolume, TestDirValidAndSlackEntries) {
  SLIX_REQUIRE_SHARED_TESTDATA(data);
  opened_volume vol(data + "/ntfs_index.raw.gz", 0x10000);
  CNtfs& ntfs = *vol.ntfs;
  ASSERT_TRUE(ntfs.validate());
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

TEST(WindowsVolume, AgreesWithTheSleuthKit) {
  SLIX_REQUIRE_SHARED_TESTDATA(data);
  if (!slix_test::have_tool("fls")) GTEST_SKIP() << "fls is not installed";
  opened_volume vol(data + "/ntfs_index.raw.gz", 0x10000);
  std::set<uint64_t> dirs;
  ASSERT_TRUE(list_directories(*vol.ntfs, dirs));
  EXPECT_EQ(dirs, fls_directories(vol.image, 128));
  for (uint64_t dir : dirs) {
    const std::multiset<std::string> valid = analyse(*vol.ntfs, dir).valid;
    std::set<std::string> names(valid.begin(), valid.end());
    names.erase(".");
    EXPECT_EQ(names, fls_live_names(vol.image, 128, dir)) << dir;
  }
}

// Records of this volume past entry 26 keep their update sequence array at
// 0x2A, the layout of NTFS 3.0; such a record is refused.
TEST(WindowsVolume, OldRecordLayoutIsRefused) {
  SLIX_REQUIRE_SHARED_TESTDATA(data);
  opened_volume vol(data + "/ntfs3_attrlist.raw.gz", 0);
  ASSERT_TRUE(vol.ntfs->validate());
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

TEST(FixtureVolume, BigFragmentedDirectoryAgreesWithTheSleuthKit) {
  const std::string gz = fixture_or_skip("vol_nested.img.gz");
  if (gz.empty()) GTEST_SKIP() << "vol_nested.img.gz is absent";
  if (!slix_test::have_tool("fls")) GTEST_SKIP() << "fls is not installed";
  opened_volume vol(gz, 0);
  const directory_names names = analyse(*vol.ntfs, 115);
  EXPECT_EQ(std::set<std::string>(names.valid.begin(), names.valid.end()), fls_live_names(vol.image, 0, 115));
  EXPECT_EQ(names.valid.size(), 1455u);
  EXPECT_EQ(names.slack.count("quarterly evidence export batch 00008 for case file review.txt"), 1u);
}

TEST(FixtureVolume, LargeSectorsAndClusters) {
  for (const char* name : {"vol_4k_sector.img.gz", "vol_64k_cluster.img.gz"}) {
    SCOPED_TRACE(name);
    const std::string gz = fixture_or_skip(name);
    if (gz.empty()) continue;
    opened_volume vol(gz, 0);
    ASSERT_EQ(resolve(*vol.ntfs, "\\docs\\2023"), 65u);
    const directory_names names = analyse(*vol.ntfs, 65);
    const indx_entry& gone = names.by_name.at("monthly report number 40.txt/slack");
    EXPECT_EQ(gone.offset, 4096u + 3664);
    EXPECT_EQ(gone.annotation, "deleted");
    EXPECT_EQ(names.valid.size(), 39u);  // two leaves and the separator entry of the root
  }
}

TEST(FixtureVolume, PartitionedDisk) {
  const std::string gz = fixture_or_skip("disk_mbr.img.gz");
  if (gz.empty()) GTEST_SKIP() << "disk_mbr.img.gz is absent";
  opened_volume vol(gz, 2048 * 512);
  EXPECT_EQ(resolve(*vol.ntfs, "\\nested\\a\\b"), 70u);
  std::set<uint64_t> dirs;
  ASSERT_TRUE(list_directories(*vol.ntfs, dirs));
  EXPECT_TRUE(dirs.count(115));
}

}  // namespace

namespace {

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
