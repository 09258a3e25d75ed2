// vol_fragmented (tests/fixtures/make_fragmented_index.sh): the directory
// \fragmented has its $I30 allocation cut into 1,992 one-cluster runs over
// seven extension records, named by a non-resident $ATTRIBUTE_LIST.  slix must
// read that stream byte for byte as The Sleuth Kit read it before the cut,
// and the whole-volume scan must report the directory as -path does.
#include <gtest/gtest.h>

#include <string>

#include "test_support.h"

namespace {

std::string image() { return slix_test::fixture_workdir() + "/vol_fragmented.img"; }

// The text after "label: " on its line of the facts file.
std::string fact(const std::string& label) {
  const std::string facts = slix_test::read_text(slix_test::fixture("vol_fragmented.facts.txt"));
  const size_t at = facts.find(label + ": ");
  if (at == std::string::npos) return "";
  const size_t start = at + label.size() + 2;
  return facts.substr(start, facts.find('\n', start) - start);
}

size_t count_of(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

// The report less its banner, command line, blank line and column header.
std::string csv_rows(const std::string& report) {
  size_t at = 0;
  for (int line = 0; line < 4 && at != std::string::npos; ++line) at = report.find('\n', at) + 1;
  return report.substr(at);
}

TEST(fragmented_index, the_stream_read_through_every_run_is_the_one_before_the_cut) {
  slix_test::temp_dir dumps;
  const auto result =
      slix_test::run_slix({"-image", image(), "-path", "\\fragmented", "-all", "-csv", "-rawdump", "-quiet"}, "",
                          dumps.path());
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "");
  const std::string sha = slix_test::shell("sha256sum '" + dumps.file("fragmented.indx.alloc.bin") + "'");
  EXPECT_EQ(sha.substr(0, 64),
            fact("sha256 of the index allocation with each INDX record fixed up, as icat read it before"));
  EXPECT_EQ(std::to_string(count_of(result.out, ",valid,")), fact("live entries (fls)"));
}

TEST(fragmented_index, the_whole_volume_scan_reports_the_directory_as_path_does) {
  const auto one = slix_test::run_slix({"-image", image(), "-path", "\\fragmented", "-all", "-csv", "-quiet"});
  const auto whole = slix_test::run_slix({"-image", image(), "-all", "-csv", "-quiet"});
  ASSERT_EQ(one.status, 0) << one.err;
  ASSERT_EQ(whole.status, 0) << whole.err;
  const std::string rows = csv_rows(one.out);
  ASSERT_GT(count_of(rows, "\n"), 3000u);
  EXPECT_NE(whole.out.find(rows), std::string::npos);
}

}  // namespace
