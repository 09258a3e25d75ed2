// The valid entries of a real directory's INDX records must be exactly the
// directory's entries as The Sleuth Kit lists them, and files deleted from
// the directory whose entries survive in slack must be reported "deleted".
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

#include "listing_parsers.h"
#include "test_support.h"

namespace {

using name_set = std::set<std::string>;
using slix_test::live_names_in_fls_listing;
using slix_test::reported_entry;
using slix_test::text_blocks;

// The names as fls shows them; the root's own "." entry is not listed by it.
name_set as_fls_shows(const std::vector<std::string>& reported) {
  name_set names;
  for (const std::string& name : reported) {
    if (name != ".") names.insert(slix_test::as_fls_shows(name));
  }
  return names;
}

// The names the fixture's facts file records as deleted and as found in slack,
// less those whose entry head was overwritten (not recoverable by design).
std::set<std::string> deleted_names_found_in_slack(const std::string& facts) {
  std::set<std::string> deleted, in_slack;
  std::istringstream in(facts);
  for (std::string line; std::getline(in, line);) {
    const size_t bar = line.find('|');
    const bool recoverable = line.find("overwritten") == std::string::npos;
    if (line.rfind("  deleted", 0) == 0 && bar != std::string::npos && recoverable) deleted.insert(line.substr(bar + 1));
    const size_t probe = line.find(": slack in record");
    if (line.rfind("  ", 0) == 0 && probe != std::string::npos) in_slack.insert(line.substr(2, probe - 2));
  }
  std::set<std::string> both;
  for (const auto& name : deleted)
    if (in_slack.count(name)) both.insert(name);
  return both;
}

class oracle : public testing::TestWithParam<std::string> {
 protected:
  std::string indx_file() {
    const std::string path = m_dir.file(GetParam() + ".indx");
    EXPECT_TRUE(slix_test::gunzip(slix_test::fixture(GetParam() + ".indx.gz"), path));
    return path;
  }
  slix_test::temp_dir m_dir;
};

std::vector<std::string> names_of(const std::vector<reported_entry>& entries, bool valid) {
  std::vector<std::string> names;
  for (const auto& e : entries)
    if ((e.entry_line == "valid") == valid) names.push_back(e.name);
  return names;
}

// Every valid entry is a live file of the directory, and every live file is
// reported: as a valid entry, or, in a node whose valid walk stopped early
// (an entry over 512 bytes, such as a 255-character name, ends it), from the
// slack behind the stopping point.  Where no walk stops early the valid
// entries are exactly the live files.
TEST_P(oracle, valid_entries_match_the_committed_fls_listing) {
  const auto result = slix_test::run_slix({"-indxfile", indx_file(), "-all"});
  ASSERT_EQ(result.status, 0) << result.err;
  const auto entries = text_blocks(result.out);
  const name_set valid = as_fls_shows(names_of(entries, true));
  const name_set slack = as_fls_shows(names_of(entries, false));
  const name_set live = live_names_in_fls_listing(slix_test::read_text(slix_test::fixture(GetParam() + ".fls.txt")));
  ASSERT_FALSE(live.empty());
  size_t from_slack = 0;
  for (const auto& name : valid) {
    EXPECT_TRUE(live.count(name)) << name << " is not a live file";
  }
  for (const auto& name : live) {
    EXPECT_TRUE(valid.count(name) || slack.count(name)) << name << " is missing";
    from_slack += !valid.count(name);
  }
  if (GetParam() != "dir_many") {
    EXPECT_EQ(from_slack, 0u);
  }
}

TEST_P(oracle, deleted_files_in_slack_are_reported_deleted) {
  const auto result = slix_test::run_slix({"-indxfile", indx_file(), "-slack"});
  ASSERT_EQ(result.status, 0) << result.err;
  const auto expected = deleted_names_found_in_slack(slix_test::read_text(slix_test::fixture(GetParam() + ".facts.txt")));
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
  slix_test::temp_dir dir;
  ASSERT_TRUE(slix_test::gunzip(slix_test::fixture("vol_indx.img.gz"), dir.file("vol.img")));
  ASSERT_TRUE(slix_test::gunzip(slix_test::fixture("dir_many.indx.gz"), dir.file("many.indx")));
  int status = 0;
  const std::string listing = slix_test::shell("fls -f ntfs '" + dir.file("vol.img") + "' 64", &status);
  ASSERT_EQ(status, 0);
  const auto result = slix_test::run_slix({"-indxfile", dir.file("many.indx"), "-all"});
  const auto entries = text_blocks(result.out);
  const name_set valid = as_fls_shows(names_of(entries, true));
  const name_set slack = as_fls_shows(names_of(entries, false));
  const name_set live = live_names_in_fls_listing(listing);
  ASSERT_FALSE(live.empty());
  for (const auto& name : valid) {
    EXPECT_TRUE(live.count(name)) << name;
  }
  for (const auto& name : live) {
    EXPECT_TRUE(valid.count(name) || slack.count(name)) << name;
  }
}

}  // namespace
