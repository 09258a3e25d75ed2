// Volumes made by Windows (../shared/testdata) and by mkntfs and ntfs-3g
// (tests/fixtures), checked against their documented facts.  Whole listings
// are compared with The Sleuth Kit by the end-to-end tests of tests/app.
#include <gtest/gtest.h>

#include <memory>
#include <set>

#include "app/directory_streams.h"
#include "disk/image_disk.h"
#include "ntfs/directory_tree.h"
#include "ntfs/mft_format.h"
#include "ntfs/mft_record.h"
#include "ntfs/ntfs.h"
#include "ntfs/path_lookup.h"
#include "test_support.h"

namespace {

// A decompressed image opened at `offset`.
struct opened_volume {
  opened_volume(const std::string& image, uint64_t offset) : source(image), ntfs(CNtfs::open(source, offset)) {
    EXPECT_TRUE(ntfs) << image;
  }
  image_disk source;
  std::unique_ptr<CNtfs> ntfs;
};

// Valid and slack names of a directory, each with its annotation.
std::multiset<std::string> analyse(CNtfs& ntfs, uint64_t entry) {
  std::multiset<std::string> names;
  uint16_t seq = 0;
  EXPECT_TRUE(record_sequence(ntfs, entry, seq));
  directory_index index;
  analyse_directory(ntfs, indx_options{}, entry, seq, index);
  for (const indx_entry* e : index.report.in_time_order())
    names.insert(e->is_valid ? e->name : e->name + " / " + e->annotation);
  return names;
}

uint64_t resolve(CNtfs& ntfs, const std::string& path) {
  uint64_t entry = 0;
  uint16_t seq = 0;
  EXPECT_TRUE(entry_of_path(ntfs, path, children_of_directories(ntfs), entry, seq)) << path;
  return entry;
}

TEST(windows_volume, test_dir_valid_and_slack_entries) {
  SLIX_REQUIRE_SHARED_TESTDATA();
  opened_volume vol(slix_test::shared_workdir() + "/ntfs_index.raw", 0x10000);
  ASSERT_TRUE(vol.ntfs);
  CNtfs& ntfs = *vol.ntfs;
  EXPECT_EQ(ntfs.cluster_size(), 2048u);
  EXPECT_EQ(ntfs.mft_record_size(), 1024u);
  EXPECT_EQ(ntfs.index_record_size(), 4096u);
  ASSERT_EQ(resolve(ntfs, "\\test_dir"), 39u);
  EXPECT_EQ(resolve(ntfs, "C:\\TEST_DIR\\"), 39u);
  EXPECT_EQ(analyse(ntfs, 39),
            (std::multiset<std::string>{"111111111111111.txt", "222222222222222.txt", "333333333333333.txt",
                                        "444444444444444.txt", "555555555555555.txt", "666666666666666.txt",
                                        "777777777777777.txt", "999999999999999.txt", "AAAAAAAAAAA.txt",
                                        "AAAAAAAAAAA.txt / modified [.ac.]", "AAAAAAAAAAA.txt / modified [.ac.]",
                                        "BBBBBBBBBBBBB-del.txt / deleted"}));
  uint16_t ref_seq = 0, rec_seq = 0;
  EXPECT_EQ(path_of_entry(ntfs, 39, ref_seq, rec_seq), "\\test_dir\\");
  EXPECT_EQ(rec_seq, 1);
}

// Records of this volume past entry 26 keep their update sequence array at
// 0x2A, the layout of NTFS 3.0; such a record is refused.
TEST(windows_volume, old_record_layout_is_refused) {
  SLIX_REQUIRE_SHARED_TESTDATA();
  opened_volume vol(slix_test::shared_workdir() + "/ntfs3_attrlist.raw", 0);
  ASSERT_TRUE(vol.ntfs);
  byte_array record;
  bool bad = false;
  EXPECT_TRUE(vol.ntfs->fetch_record(record, bad, 5));
  EXPECT_FALSE(vol.ntfs->fetch_record(record, bad, 27));
  EXPECT_FALSE(analyse(*vol.ntfs, 5).empty());
}

// The 42 names of a hard-linked file, most of them in extension records
// listed by its $ATTRIBUTE_LIST.
TEST(fixture_volume, attribute_lists) {
  opened_volume vol(slix_test::fixture_workdir() + "/vol_nested.img", 0);
  ASSERT_TRUE(vol.ntfs);
  CNtfs& ntfs = *vol.ntfs;
  mft_record hard_linked;
  ASSERT_TRUE(load_mft_record(ntfs, 1923, hard_linked));
  size_t names = 0;
  for (const mft_attribute& attr : hard_linked.attributes) names += attr.type == mft_format::type_file_name;
  EXPECT_EQ(names, 42u);
  std::set<uint64_t> dirs;
  ASSERT_TRUE(list_directories(ntfs, dirs));
  EXPECT_EQ(dirs.size(), 16u);  // the 15 of the facts and $Extend
}

// Diagnostics of the volume layer go to the run log only, never to standard
// error, which golden outputs compare byte for byte.
TEST(fixture_volume, diagnostics_go_to_the_run_log_only) {
  slix_test::temp_dir tmp;
  const std::string log = tmp.file("run.log");
  const std::vector<std::string> args{"-image", slix_test::fixture_workdir() + "/vol_nested.img", "-path",
                                      "\\links\\symlink to c", "-quiet"};
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
