// The accuracy facts of the volumes in tests/fixtures/accuracy, asserted on
// the real binary's CSV: entries of a deleted directory and of an INDX
// record the index has released are reported as slack and none is lost,
// while the live entries around them stay live.
#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "test_support.h"

namespace {

struct csv_names {
  std::set<std::string> valid, slack;
};

// The last path component of each row's name, by kind ("name" is the 19th
// column of -csv; the names of these volumes hold no comma or quote).
csv_names names_of(const std::string& out) {
  csv_names names;
  std::istringstream lines(out);
  for (std::string line; std::getline(lines, line);) {
    std::vector<std::string> cells;
    std::istringstream row(line);
    for (std::string cell; std::getline(row, cell, ',');) cells.push_back(cell);
    if (cells.size() < 19 || (cells[5] != "valid" && cells[5] != "slack")) continue;
    const std::string name = cells[18].substr(cells[18].rfind('\\') + 1);
    (cells[5] == "valid" ? names.valid : names.slack).insert(name);
  }
  return names;
}

std::set<std::string> numbered(const std::string& stem, int first, int last) {
  std::set<std::string> names;
  for (int n = first; n <= last; ++n) names.insert(stem + (n < 10 ? " 0" : " ") + std::to_string(n) + ".txt");
  return names;
}

csv_names run_on(const std::string& volume, const std::vector<std::string>& target) {
  slix_test::temp_dir dir;
  EXPECT_TRUE(slix_test::gunzip(slix_test::fixture("accuracy/" + volume + ".img.gz"), dir.file("v.img")));
  std::vector<std::string> args{"-image", dir.file("v.img"), "-all", "-csv", "-quiet"};
  args.insert(args.end(), target.begin(), target.end());
  const slix_test::run_result run = slix_test::run_slix(args);
  EXPECT_EQ(run.status, 0) << run.err;
  return names_of(run.out);
}

void expect_slack_only(const csv_names& names, const std::set<std::string>& expected) {
  for (const std::string& name : expected) {
    EXPECT_TRUE(names.slack.count(name)) << name << " is lost";
    EXPECT_FALSE(names.valid.count(name)) << name << " is reported live";
  }
}

TEST(accuracy, deleted_directories_hold_no_live_entries_and_lose_none) {
  const csv_names names = run_on("vol_deleted_dir", {});
  EXPECT_EQ(names.valid.count("case") + names.valid.count("kept.txt") + names.valid.count("kept folder"), 3u);
  std::set<std::string> recoverable = numbered("deleted directory member file number", 12, 22);
  recoverable.merge(numbered("deleted directory member file number", 25, 35));
  recoverable.merge(numbered("emptied backwards member file number", 1, 45));
  recoverable.insert({"sub one", "sub two"});
  expect_slack_only(names, recoverable);
}

TEST(accuracy, entries_of_a_released_index_record_are_slack) {
  for (const auto& [directory, stem] : {std::pair{"\\bit cleared", "member of the bit-cleared index record"},
                                        std::pair{"\\released", "member of the released index record"}}) {
    const csv_names names = run_on("vol_unused_record", {"-path", directory});
    std::set<std::string> live = numbered(stem, 1, 36);
    live.merge(numbered(stem, 48, 75));
    for (const std::string& name : live) EXPECT_TRUE(names.valid.count(name)) << name;
    expect_slack_only(names, numbered(stem, 37, 47));
  }
}

}  // namespace
