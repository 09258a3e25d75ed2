// Volume mode against The Sleuth Kit: for every directory that fls lists as
// live, the valid entries slix reports under that directory are exactly the
// names fls lists in it.  Directories whose records are no longer in use are
// scanned by slix too, but fls does not descend into them, so they are left
// out of the comparison.
#include <gtest/gtest.h>

#include <map>

#include "listing_parsers.h"
#include "test_support.h"

namespace {

using children_map = std::map<std::string, std::set<std::string>>;

// fls -r -p paths use "/" and no leading separator; slix paths are "\dir\name".
children_map fls_children(const std::string& listing) {
  children_map children{{"", {}}};
  for (const std::string& path : slix_test::live_names_in_fls_listing(listing)) {
    if (path.rfind("$OrphanFiles", 0) == 0) continue;
    const size_t slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "" : path.substr(0, slash);
    children[dir].insert(path.substr(slash == std::string::npos ? 0 : slash + 1));
    children.try_emplace(path);  // a directory with no children is still live
  }
  return children;
}

children_map slix_valid_children(const std::string& report) {
  children_map children;
  for (const auto& entry : slix_test::text_blocks(report)) {
    if (!entry.valid()) continue;
    std::string path = entry.name.substr(entry.name.find('\\') == 0 ? 1 : 0);
    for (char& c : path) {
      if (c == '\\') c = '/';
    }
    const size_t slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "" : path.substr(0, slash);
    const std::string name = slix_test::as_fls_shows(path.substr(slash == std::string::npos ? 0 : slash + 1));
    if (name != ".") children[dir].insert(name);
  }
  return children;
}

void expect_same_children(const std::string& report, const std::string& fls_listing) {
  const children_map reported = slix_valid_children(report);
  const children_map live = fls_children(fls_listing);
  ASSERT_GT(live.size(), 1u);
  for (const auto& [dir, names] : live) {
    const auto it = reported.find(dir);
    const std::set<std::string> empty;
    EXPECT_EQ(it == reported.end() ? empty : it->second, names) << "directory \"" << dir << "\"";
  }
}

struct volume_fixture {
  std::string image;  // under tests/fixtures, gzip-compressed
  std::string offset;  // -offset value, "" for a bare volume
};

class volume_oracle : public testing::TestWithParam<volume_fixture> {
 protected:
  std::string report(const std::string& image_path) {
    std::vector<std::string> args{"-image", image_path, "-quiet"};
    if (!GetParam().offset.empty()) args.insert(args.end(), {"-offset", GetParam().offset});
    const auto result = slix_test::run_slix(args);
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  }
};

TEST_P(volume_oracle, valid_entries_of_every_live_directory_equal_the_committed_fls_listing) {
  slix_test::temp_dir dir;
  ASSERT_TRUE(slix_test::gunzip(slix_test::fixture(GetParam().image + ".img.gz"), dir.file("vol.img")));
  expect_same_children(report(dir.file("vol.img")),
                       slix_test::read_text(slix_test::fixture(GetParam().image + ".fls.txt")));
}

TEST_P(volume_oracle, valid_entries_of_every_live_directory_equal_fls_run_now) {
  if (!slix_test::have_tool("fls")) GTEST_SKIP() << "The Sleuth Kit (fls) is not installed";
  slix_test::temp_dir dir;
  ASSERT_TRUE(slix_test::gunzip(slix_test::fixture(GetParam().image + ".img.gz"), dir.file("vol.img")));
  const std::string sectors = GetParam().offset.empty() ? "0" : std::to_string(std::stoull(GetParam().offset, nullptr, 0) / 512);
  int status = 0;
  const std::string listing = slix_test::shell("fls -r -p -o " + sectors + " '" + dir.file("vol.img") + "'", &status);
  ASSERT_EQ(status, 0);
  expect_same_children(report(dir.file("vol.img")), listing);
}

INSTANTIATE_TEST_SUITE_P(fixtures, volume_oracle,
                         testing::Values(volume_fixture{"vol_nested", ""}, volume_fixture{"vol_4k_sector", ""},
                                         volume_fixture{"vol_64k_cluster", ""},
                                         volume_fixture{"disk_mbr", "0x100000"}, volume_fixture{"disk_gpt", "0x100000"}),
                         [](const auto& info) { return info.param.image; });

// The Windows-made volume of ../shared/testdata, listed by fls where installed.
TEST(volume_oracle_windows, valid_entries_equal_fls_on_a_windows_volume) {
  SLIX_REQUIRE_SHARED_TESTDATA(shared);
  if (!slix_test::have_tool("fls")) GTEST_SKIP() << "The Sleuth Kit (fls) is not installed";
  slix_test::temp_dir dir;
  ASSERT_TRUE(slix_test::gunzip(shared + "/ntfs_index.raw.gz", dir.file("disk.raw")));
  int status = 0;
  const std::string listing = slix_test::shell("fls -r -p -o 128 '" + dir.file("disk.raw") + "'", &status);
  ASSERT_EQ(status, 0);
  const auto result = slix_test::run_slix({"-image", dir.file("disk.raw"), "-offset", "0x10000", "-quiet"});
  ASSERT_EQ(result.status, 0) << result.err;
  expect_same_children(result.out, listing);
}

}  // namespace
