// -unalloc against the ground truth of a volume with a known history, and on
// a hostile copy of it.  tests/fixtures/unalloc/make_unalloc_fixtures.sh made
// vol_unalloc.img with mkntfs and ntfs-3g (files deleted, whole directories
// deleted, freed MFT records reused) and recorded every name it ever made
// (vol_unalloc.truth.txt); survivors.py, which shares no code with slix,
// listed where the names of files that no longer exist survive whole
// (vol_unalloc.survivors.txt).
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "test_support.h"

namespace {

std::string unalloc_fixture(const std::string& name) { return slix_test::fixture("unalloc/" + name); }

// Every name the volume's history made (the truth file's second column).
std::set<std::string> names_ever_made() {
  std::set<std::string> names;
  std::ifstream in(unalloc_fixture("vol_unalloc.truth.txt"));
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    std::string path, name;
    std::getline(fields, path, '\t');
    std::getline(fields, name, '\t');
    names.insert(name);
  }
  return names;
}

// The names of files that no longer exist that survive whole somewhere.
std::set<std::string> surviving_names() {
  std::set<std::string> names;
  std::ifstream in(unalloc_fixture("vol_unalloc.survivors.txt"));
  const std::regex line_form(R"(^  \\(.*) \| (deleted|in-deleted-directory) \| .*)");
  for (std::string line; std::getline(in, line);) {
    std::smatch match;
    if (!std::regex_match(line, match, line_form)) continue;
    const std::string path = match[1];
    names.insert(path.substr(path.rfind('\\') + 1));
  }
  return names;
}

struct reported_entry {
  std::string directory, name, source;
  uint64_t offset = 0, size = 0;
};

// The JSON Lines of a run, reduced to what these tests look at (the fixture
// names are plain ASCII, so simple patterns read them).
std::vector<reported_entry> entries_of(const std::string& jsonl) {
  std::vector<reported_entry> entries;
  const std::regex fields(
      R"re("offset":(\d+),.*"size_used":\d+,.*"name":"((?:[^"\\]|\\.)*)","directory":"((?:[^"\\]|\\.)*)","index_source":"(\w+)")re");
  std::istringstream in(jsonl);
  for (std::string line; std::getline(in, line);) {
    std::smatch match;
    if (!std::regex_search(line, match, fields)) continue;
    entries.push_back({match[3], match[2], match[4], std::stoull(match[1]), 0});
  }
  return entries;
}

slix_test::run_result unalloc_run(const std::string& image) {
  return slix_test::run_slix({"-image", image, "-unalloc", "-slack", "-jsonl", "-quiet"}, "",
                             slix_test::fixture_workdir());
}

TEST(unalloc, reports_the_surviving_names_of_files_that_no_longer_exist_and_no_other) {
  const std::set<std::string> surviving = surviving_names();
  const std::set<std::string> made = names_ever_made();
  ASSERT_GT(surviving.size(), 500u);
  ASSERT_GT(made.size(), surviving.size());
  const slix_test::run_result run = unalloc_run("vol_unalloc.img");
  ASSERT_EQ(run.status, 0) << run.err;
  std::set<std::string> reported;
  for (const reported_entry& entry : entries_of(run.out)) {
    reported.insert(entry.name);
    if (entry.source == "unallocated" || entry.source == "mft_slack") {
      EXPECT_TRUE(made.count(entry.name)) << "never existed: " << entry.directory << entry.name;
    }
  }
  size_t found = 0;
  for (const std::string& name : surviving) found += reported.count(name);
  EXPECT_GE(found * 100, surviving.size() * 98) << found << " of " << surviving.size();
}

// Crafted records fill the free clusters, the $Bitmap claims 512 clusters
// only, and one record of the deleted \keep\victim has a sector end whose
// update sequence word no longer checks out: the entry covering it is
// dropped, the rest of that record is still reported, and nothing the
// crafted records hold comes out.
TEST(unalloc, hostile_free_space_is_read_without_harm) {
  slix_test::temp_dir dir;
  const std::string clean = slix_test::fixture_workdir() + "/vol_unalloc.img";
  int status = 0;
  slix_test::shell("python3 '" + unalloc_fixture("make_hostile_free_space.py") + "' '" + clean + "' '" +
                       dir.file("hostile.img") + "'",
                   &status);
  ASSERT_EQ(status, 0);
  const slix_test::run_result before = unalloc_run(clean);
  const slix_test::run_result after = unalloc_run(dir.file("hostile.img"));
  ASSERT_EQ(after.status, 0) << after.err;
  std::set<std::string> clean_names;
  size_t victim_before = 0, victim_after = 0;
  constexpr uint64_t damaged_word = 1503232 + 1022;
  for (const reported_entry& entry : entries_of(before.out)) {
    clean_names.insert(entry.directory + entry.name);
    victim_before += entry.directory == "\\\\keep\\\\victim\\\\";
  }
  for (const reported_entry& entry : entries_of(after.out)) {
    EXPECT_TRUE(clean_names.count(entry.directory + entry.name)) << entry.directory << entry.name;
    victim_after += entry.directory == "\\\\keep\\\\victim\\\\";
    if (entry.source == "unallocated") {
      EXPECT_FALSE(entry.offset <= damaged_word && damaged_word < entry.offset + 82) << entry.name;
    }
  }
  EXPECT_GT(victim_after, 0u);
  EXPECT_LT(victim_after, victim_before);
}

}  // namespace
