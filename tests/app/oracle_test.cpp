// The Sleuth Kit as the oracle.  The valid entries of a real directory's
// INDX records must be exactly the directory's entries as fls lists them,
// and files deleted from the directory whose entries survive in slack must
// be reported "deleted".  In volume mode, for every directory that fls lists
// as live, the valid entries slix reports under it are exactly the names fls
// lists in it (directories whose records are no longer in use are scanned by
// slix too, but fls does not descend into them, so they are left out).
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "test_support.h"

namespace {

using name_set = std::set<std::string>;

// ---- parsers of slix text reports and of fls listings

struct reported_entry {
  std::string name;        // full name: directory path and entry name
  std::string entry_line;  // "valid", or "slack, <annotation>"
  bool valid() const { return entry_line == "valid"; }
};

std::vector<reported_entry> text_blocks(const std::string& report) {
  std::vector<reported_entry> entries;
  std::istringstream in(report);
  const std::string name_label = "Name:                 ", entry_label = "Entry:                ";
  for (std::string line; std::getline(in, line);) {
    if (line.rfind(name_label, 0) == 0) entries.push_back({line.substr(name_label.size()), ""});
    if (line.rfind(entry_label, 0) == 0 && !entries.empty())
      entries.back().entry_line = line.substr(entry_label.size());
  }
  return entries;
}

// fls shows control characters in names as '^'; slix writes them as "\xHH"
// (and a backslash as "\x5c").
std::string as_fls_shows(const std::string& name) {
  return std::regex_replace(name, std::regex(R"(\\x(?!5c)[0-9a-f]{2})"), "^");
}

// The live names of an fls listing ("r/r 291-128-2:<TAB>name"): deleted files
// carry " * ", virtual entries ($OrphanFiles) are "V/V", and named streams
// are listed as "name:stream" beside the file itself.
std::set<std::string> live_names_in_fls_listing(const std::string& listing) {
  std::set<std::string> names;
  std::istringstream in(listing);
  for (std::string line; std::getline(in, line);) {
    const size_t tab = line.find('\t');
    if (tab == std::string::npos || line.find(" * ") < tab || line.rfind("V/V", 0) == 0) continue;
    std::string name = line.substr(tab + 1);
    const size_t slash = name.rfind('/');
    const size_t colon = name.find(':', slash == std::string::npos ? 0 : slash);
    names.insert(name.substr(0, colon));
  }
  return names;
}

// ---- INDX files

// The names the fixture's facts file records as deleted and as found in slack,
// less those whose entry head was overwritten (not recoverable by design).
std::set<std::string> deleted_names_found_in_slack(const std::string& facts) {
  std::set<std::string> deleted, in_slack;
  std::istringstream in(facts);
  for (std::string line; std::getline(in, line);) {
    const size_t bar = line.find('|');
    const bool recoverable = line.find("overwritten") == std::string::npos;
    if (line.rfind("  deleted", 0) == 0 && bar != std::string::npos && recoverable)
      deleted.insert(line.substr(bar + 1));
    const size_t probe = line.find(": slack in record");
    if (line.rfind("  ", 0) == 0 && probe != std::string::npos) in_slack.insert(line.substr(2, probe - 2));
  }
  std::set<std::string> both;
  for (const auto& name : deleted)
    if (in_slack.count(name)) both.insert(name);
  return both;
}

// The decompressed fixture `name`.
std::string unpacked(const std::string& name) { return slix_test::fixture_workdir() + "/" + name; }

std::string indx_file(const std::string& name) { return unpacked(name + ".indx"); }

// Every valid entry is a live file of the directory, and every live file is
// reported: as a valid entry, or, in a node whose valid walk stopped early
// (a damaged entry ends it), from the slack behind the stopping point.
// Names are compared as fls shows them; fls does not list the root's own "."
// entry.  Returns how many came from slack.
size_t expect_live_files_reported(const std::string& indx, const std::string& fls_listing) {
  const auto result = slix_test::run_slix({"-indxfile", indx, "-all"});
  EXPECT_EQ(result.status, 0) << result.err;
  name_set valid, slack;
  for (const reported_entry& e : text_blocks(result.out))
    if (e.name != ".") (e.valid() ? valid : slack).insert(as_fls_shows(e.name));
  const name_set live = live_names_in_fls_listing(fls_listing);
  EXPECT_FALSE(live.empty());
  for (const auto& name : valid) {
    EXPECT_TRUE(live.count(name)) << name << " is not a live file";
  }
  size_t from_slack = 0;
  for (const auto& name : live) {
    EXPECT_TRUE(valid.count(name) || slack.count(name)) << name << " is missing";
    from_slack += !valid.count(name);
  }
  return from_slack;
}

class oracle : public testing::TestWithParam<std::string> {};

// No walk stops early, names of 255 units included: the valid entries are
// exactly the live files.
TEST_P(oracle, valid_entries_match_the_committed_fls_listing) {
  const size_t from_slack = expect_live_files_reported(
      indx_file(GetParam()), slix_test::read_text(slix_test::fixture(GetParam() + ".fls.txt")));
  EXPECT_EQ(from_slack, 0u);
}

TEST_P(oracle, deleted_files_in_slack_are_reported_deleted) {
  const auto result = slix_test::run_slix({"-indxfile", indx_file(GetParam()), "-slack"});
  ASSERT_EQ(result.status, 0) << result.err;
  const auto expected =
      deleted_names_found_in_slack(slix_test::read_text(slix_test::fixture(GetParam() + ".facts.txt")));
  // A facts file that lists nothing would let the test pass having checked nothing.
  ASSERT_FALSE(expected.empty()) << GetParam() << ".facts.txt names no deleted file found in slack";
  std::set<std::string> deleted;
  for (const auto& e : text_blocks(result.out))
    if (e.entry_line == "slack, deleted") deleted.insert(e.name);
  for (const auto& name : expected) {
    EXPECT_TRUE(deleted.count(name)) << name << " not reported as deleted";
  }
}

INSTANTIATE_TEST_SUITE_P(fixtures, oracle, testing::Values("dir_many", "dir_small", "root_dir"));

// With The Sleuth Kit installed, list the directory afresh from the volume the
// INDX records were taken from, rather than trusting the committed listing.
TEST(oracle_live, valid_entries_equal_fls_on_the_source_volume) {
  if (!slix_test::have_tool("fls")) GTEST_SKIP() << "The Sleuth Kit (fls) is not installed";
  int status = 0;
  const std::string listing = slix_test::shell("fls -f ntfs '" + unpacked("vol_indx.img") + "' 64", &status);
  ASSERT_EQ(status, 0);
  expect_live_files_reported(indx_file("dir_many"), listing);
}

// ---- volumes

using children_map = std::map<std::string, std::set<std::string>>;

// fls -r -p paths use "/" and no leading separator; slix paths are "\dir\name".
children_map fls_children(const std::string& listing) {
  children_map children{{"", {}}};
  for (const std::string& path : live_names_in_fls_listing(listing)) {
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
  for (const auto& entry : text_blocks(report)) {
    if (!entry.valid()) continue;
    std::string path = entry.name.substr(entry.name.find('\\') == 0 ? 1 : 0);
    for (char& c : path) {
      if (c == '\\') c = '/';
    }
    const size_t slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "" : path.substr(0, slash);
    const std::string name = as_fls_shows(path.substr(slash == std::string::npos ? 0 : slash + 1));
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
  std::string image;   // under tests/fixtures, gzip-compressed
  std::string offset;  // -offset value, "" for a bare volume
};

class volume_oracle : public testing::TestWithParam<volume_fixture> {
 protected:
  std::string image() const { return slix_test::fixture_workdir() + "/" + GetParam().image + ".img"; }
  std::string report(const std::string& image_path) {
    std::vector<std::string> args{"-image", image_path, "-quiet"};
    if (!GetParam().offset.empty()) args.insert(args.end(), {"-offset", GetParam().offset});
    const auto result = slix_test::run_slix(args);
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  }
};

// A long listing is committed gzipped and read where the fixtures are unpacked.
std::string committed_listing(const std::string& image) {
  const std::string plain = slix_test::fixture(image + ".fls.txt");
  return slix_test::read_text(std::filesystem::exists(plain) ? plain
                                                             : slix_test::fixture_workdir() + "/" + image + ".fls.txt");
}

TEST_P(volume_oracle, valid_entries_of_every_live_directory_equal_the_committed_fls_listing) {
  expect_same_children(report(image()), committed_listing(GetParam().image));
}

TEST_P(volume_oracle, valid_entries_of_every_live_directory_equal_fls_run_now) {
  if (!slix_test::have_tool("fls")) GTEST_SKIP() << "The Sleuth Kit (fls) is not installed";
  const std::string sectors =
      GetParam().offset.empty() ? "0" : std::to_string(std::stoull(GetParam().offset, nullptr, 0) / 512);
  int status = 0;
  const std::string listing = slix_test::shell("fls -r -p -o " + sectors + " '" + image() + "'", &status);
  ASSERT_EQ(status, 0);
  expect_same_children(report(image()), listing);
}

INSTANTIATE_TEST_SUITE_P(fixtures, volume_oracle,
                         testing::Values(volume_fixture{"vol_nested", ""}, volume_fixture{"vol_4k_sector", ""},
                                         volume_fixture{"vol_64k_cluster", ""}, volume_fixture{"disk_mbr", "0x100000"},
                                         volume_fixture{"disk_gpt", "0x100000"},
                                         volume_fixture{"vol_fragmented", ""}),
                         [](const auto& info) { return info.param.image; });

// The Windows-made volume of ../shared/testdata, listed by fls where installed.
TEST(volume_oracle_windows, valid_entries_equal_fls_on_a_windows_volume) {
  SLIX_REQUIRE_SHARED_TESTDATA();
  if (!slix_test::have_tool("fls")) GTEST_SKIP() << "The Sleuth Kit (fls) is not installed";
  const std::string disk = slix_test::shared_workdir() + "/ntfs_index.raw";
  int status = 0;
  const std::string listing = slix_test::shell("fls -r -p -o 128 '" + disk + "'", &status);
  ASSERT_EQ(status, 0);
  const auto result = slix_test::run_slix({"-image", disk, "-offset", "0x10000", "-quiet"});
  ASSERT_EQ(result.status, 0) << result.err;
  expect_same_children(result.out, listing);
}

// ntfs.raw: the live volume, and each shadow copy, which vshadowmount
// exposes as a file for fls.  Its \test_dir holds a name of 230 units.
TEST(volume_oracle_windows, valid_entries_equal_fls_on_the_live_volume_and_every_shadow_copy) {
  SLIX_REQUIRE_SHARED_TESTDATA();
  if (!slix_test::have_tool("fls")) GTEST_SKIP() << "The Sleuth Kit (fls) is not installed";
  const std::string disk = slix_test::shared_workdir() + "/ntfs.raw";
  const std::vector<std::string> volume{"-image", disk, "-offset", "0x100000", "-quiet"};
  int status = 0;
  const std::string listing = slix_test::shell("fls -r -p -o 2048 '" + disk + "'", &status);
  ASSERT_EQ(status, 0);
  const auto live = slix_test::run_slix(volume);
  ASSERT_EQ(live.status, 0) << live.err;
  EXPECT_NE(live.out.find("file_long_name_long_name_long_name"), std::string::npos);
  expect_same_children(live.out, listing);
  if (!slix_test::have_tool("vshadowmount")) GTEST_SKIP() << "vshadowmount (libvshadow-utils) is not installed";
  const slix_test::temp_dir mount;
  slix_test::shell("vshadowmount -o 1048576 '" + disk + "' '" + mount.path() + "' >/dev/null 2>&1", &status);
  if (status != 0) GTEST_SKIP() << "vshadowmount cannot mount the stores (no FUSE)";
  // Unmounted however the test ends, before the folder is removed.
  const struct unmount {
    std::string path;
    ~unmount() { slix_test::shell("fusermount -u '" + path + "' 2>/dev/null || umount '" + path + "'"); }
  } mounted{mount.path()};
  for (const std::string store : {"1", "2"}) {
    const std::string store_listing = slix_test::shell("fls -r -p '" + mount.path() + "/vss" + store + "'", &status);
    EXPECT_EQ(status, 0) << "store " << store;
    std::vector<std::string> args = volume;
    args.insert(args.end(), {"-vss", store});
    const auto result = slix_test::run_slix(args);
    EXPECT_EQ(result.status, 0) << result.err;
    expect_same_children(result.out, store_listing);
  }
}

}  // namespace
