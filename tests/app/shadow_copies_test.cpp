// -vss all: which entries of the older states the report repeats and which it
// annotates, and, on the Windows-made ntfs.raw of ../shared/testdata (two
// shadow copies), that the live volume's entries are reported once and as a
// run without -vss reports them.
#include <gtest/gtest.h>

#include <sstream>

#include "app/snapshot_gate.h"
#include "test_support.h"

namespace {

indx_entry entry_of(const std::string& name, bool valid, uint64_t modified = 100) {
  indx_entry entry;
  entry.name = name;
  entry.is_valid = valid;
  entry.file_ref = make_mft_ref(64, 1);
  entry.key[file_name_format::modified] = static_cast<uint8_t>(modified);
  return entry;
}

TEST(snapshot_gate, repeats_and_annotations_across_states) {
  enum class outcome { written, left_out, annotated };
  struct step {
    const char* what;
    int state;  // 0 live, then 1, 2... (each a new state)
    indx_entry entry;
    bool selected;
    outcome expected;
  };
  const step steps[] = {
      {"live valid", 0, entry_of("a.txt", true), true, outcome::written},
      {"live slack", 0, entry_of("b.txt", false), true, outcome::written},
      {"live valid, not selected", 0, entry_of("c.txt", true), false, outcome::written},
      {"live valid in another case", 0, entry_of("README.TXT", true), true, outcome::written},
      {"same live entry in a store", 1, entry_of("a.txt", true), true, outcome::left_out},
      {"same entry as slack in a store", 1, entry_of("a.txt", false), true, outcome::left_out},
      {"live in the store, slack on the volume", 1, entry_of("b.txt", true), true, outcome::annotated},
      {"other times, name still live", 1, entry_of("a.txt", true, 7), true, outcome::written},
      {"not reported on the volume", 1, entry_of("c.txt", true), true, outcome::written},
      {"name live in another case", 1, entry_of("readme.txt", true), true, outcome::written},
      {"name gone from the volume", 1, entry_of("gone.txt", true), true, outcome::annotated},
      {"slack of a name gone", 1, entry_of("gone2.txt", false), true, outcome::written},
      {"reported by the newer store", 2, entry_of("gone.txt", true), true, outcome::left_out},
      {"slack copy of the newer store's entry", 2, entry_of("a.txt", false, 7), true, outcome::left_out},
  };
  snapshot_gate gate;
  int state = -1;
  for (const step& s : steps) {
    if (s.state != state) gate.begin_state(s.state == 0);
    state = s.state;
    const indx_entry* shown = gate.admit(s.entry, "\\dir\\", s.selected);
    const outcome got = shown == nullptr ? outcome::left_out
                        : shown->annotation == deleted_since_snapshot ? outcome::annotated
                                                                      : outcome::written;
    EXPECT_EQ(got, s.expected) << s.what;
    if (shown != nullptr) {
      EXPECT_EQ(shown->name, s.entry.name) << s.what;
    }
  }
}

// The CSV rows of a report, without the banner and the column header.
std::vector<std::string> csv_rows(const std::string& report) {
  std::vector<std::string> rows;
  std::istringstream in(report);
  for (std::string line; std::getline(in, line);)
    if (line.rfind("0x", 0) == 0) rows.push_back(line);
  return rows;
}

TEST(shadow_copies_windows, live_volume_reported_once_and_as_without_vss) {
  SLIX_REQUIRE_SHARED_TESTDATA();
  const std::string disk = slix_test::shared_workdir() + "/ntfs.raw";
  const auto plain = slix_test::run_slix({"-image", disk, "-offset", "0x100000", "-all", "-csv", "-quiet"});
  const auto every = slix_test::run_slix({"-image", disk, "-offset", "0x100000", "-all", "-csv", "-quiet", "-vss", "all"});
  ASSERT_EQ(plain.status, 0) << plain.err;
  ASSERT_EQ(every.status, 0) << every.err;
  std::vector<std::string> live;
  size_t from_stores = 0;
  for (const std::string& row : csv_rows(every.out)) {
    if (row.size() > 5 && row.compare(row.size() - 5, 5, ",live") == 0) {
      live.push_back(row.substr(0, row.size() - 5));
    } else {
      ++from_stores;
    }
  }
  EXPECT_EQ(live, csv_rows(plain.out));
  EXPECT_GT(from_stores, 0u);
}

// Each store holds the file made just before it was taken, live; the volume
// holds neither.
TEST(shadow_copies_windows, each_store_holds_its_own_file_live) {
  SLIX_REQUIRE_SHARED_TESTDATA();
  const std::string disk = slix_test::shared_workdir() + "/ntfs.raw";
  for (const char* store : {"", "1", "2"}) {
    std::vector<std::string> args{"-image", disk, "-offset", "0x100000", "-mft", "5", "-csv", "-quiet"};
    if (*store != '\0') args.insert(args.end(), {"-vss", store});
    const auto result = slix_test::run_slix(args);
    ASSERT_EQ(result.status, 0) << result.err;
    for (const char* file : {"1", "2"}) {
      const bool listed = result.out.find(",valid,") != std::string::npos &&
                          result.out.find("\\shadow_" + std::string(file) + ".txt,") != std::string::npos;
      EXPECT_EQ(listed, std::string(store) == file) << "store \"" << store << "\", shadow_" << file;
    }
  }
}

}  // namespace
