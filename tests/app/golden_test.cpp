// Golden-output tests: the real slix binary runs on the committed fixtures and
// its exit status, standard error and every output line must equal the
// reviewed expected files in tests/golden/expected/<case>.{status,err,out}.
//
// cases.txt holds one case a line: the case name, then the arguments (double
// quotes group a word, and the word {quote} stands for a lone double quote).
// A word "<file" feeds tests/golden/file to standard input.
// The run's working folder holds every fixture of tests/fixtures/*.gz and
// tests/fixtures/{vmdk,disk,containers,accuracy}/*.gz, decompressed, and the
// truncated copies that tests/fixtures/vmdk/make_truncated_copies.sh derives
// from them, so arguments and output name files relatively.
//
// To regenerate after a deliberate change of output, run the test program
// with SLIX_REGENERATE_GOLDEN=1 and review `git diff tests/golden`.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <ostream>
#include <sstream>

#include "test_support.h"

namespace {

namespace fs = std::filesystem;
using slix_test::read_text;

struct golden_case {
  std::string name;
  std::vector<std::string> args;
  std::string stdin_file;
};

// What a failing case prints: its name and command line.
void PrintTo(const golden_case& c, std::ostream* os) {
  *os << c.name << ":";
  for (const std::string& arg : c.args) *os << " [" << arg << "]";
  if (!c.stdin_file.empty()) *os << " <" << c.stdin_file;
}

// Words are read as std::quoted reads them, with no escape character, so
// that backslashes of Windows paths stay.
std::vector<golden_case> load_cases(const std::string& file) {
  std::vector<golden_case> cases;
  std::ifstream in(std::string(SLIX_GOLDEN_DIR) + "/" + file);
  for (std::string line; std::getline(in, line);) {
    std::istringstream words(line);
    golden_case c;
    if (!(words >> c.name) || c.name[0] == '#') continue;
    for (std::string word; words >> std::quoted(word, '"', '\0');) {
      if (word.size() > 1 && word[0] == '<') {
        c.stdin_file = word.substr(1);
      } else {
        c.args.push_back(word == "{quote}" ? "\"" : word);
      }
    }
    cases.push_back(c);
  }
  return cases;
}

bool regenerating() { return std::getenv("SLIX_REGENERATE_GOLDEN") != nullptr; }

void check_case(const golden_case& c, const std::string& work) {
  const std::string input = c.stdin_file.empty() ? "" : read_text(std::string(SLIX_GOLDEN_DIR) + "/" + c.stdin_file);
  const slix_test::run_result result = slix_test::run_slix(c.args, input, work);
  const std::string base = std::string(SLIX_GOLDEN_DIR) + "/expected/" + c.name;
  const std::string status = std::to_string(result.status) + "\n";
  if (regenerating()) {
    fs::create_directories(std::string(SLIX_GOLDEN_DIR) + "/expected");
    slix_test::write_text(base + ".status", status);
    slix_test::write_text(base + ".err", result.err);
    slix_test::write_text(base + ".out", result.out);
    return;
  }
  ASSERT_TRUE(fs::exists(base + ".status")) << "no expected output for " << c.name;
  EXPECT_EQ(read_text(base + ".status"), status) << c.name;
  EXPECT_EQ(read_text(base + ".err"), result.err) << c.name;
  EXPECT_EQ(read_text(base + ".out"), result.out) << c.name;
}

class golden : public testing::TestWithParam<golden_case> {};

TEST_P(golden, output_matches_expected) { check_case(GetParam(), slix_test::fixture_workdir()); }

// Cases on the images in ../shared/testdata, made on Windows by others.
class golden_shared : public testing::TestWithParam<golden_case> {};

TEST_P(golden_shared, output_matches_expected) {
  SLIX_REQUIRE_SHARED_TESTDATA();
  check_case(GetParam(), slix_test::shared_workdir());
}

std::string case_name(const testing::TestParamInfo<golden_case>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(indx_file, golden, testing::ValuesIn(load_cases("cases.txt")), case_name);
INSTANTIATE_TEST_SUITE_P(volume, golden, testing::ValuesIn(load_cases("cases_volume.txt")), case_name);
INSTANTIATE_TEST_SUITE_P(timeline, golden, testing::ValuesIn(load_cases("cases_timeline.txt")), case_name);
INSTANTIATE_TEST_SUITE_P(windows_images, golden_shared, testing::ValuesIn(load_cases("cases_shared.txt")), case_name);

}  // namespace
