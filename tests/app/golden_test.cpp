// Golden-output tests: the real slix binary runs on the committed fixtures and
// its exit status, standard error and every output line must equal the
// reviewed expected files in tests/golden/expected/<case>.{status,err,out}.
//
// cases.txt holds one case a line: the case name, then the arguments (double
// quotes group a word, and the word {quote} stands for a lone double quote).
// A word "<file" feeds tests/golden/file to standard input.
// The run's working folder holds every fixture of tests/fixtures/*.gz and
// tests/fixtures/{vmdk,disk,containers,accuracy}/*.gz, decompressed, and the truncated copies
// that tests/fixtures/vmdk/make_truncated_copies.sh derives from them, so
// arguments and output name files relatively.
//
// To regenerate after a deliberate change of output, run the test program
// with SLIX_REGENERATE_GOLDEN=1 and review `git diff tests/golden`.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

#include "test_support.h"

namespace {

namespace fs = std::filesystem;
using slix_test::read_text;

struct golden_case {
  std::string name;
  std::vector<std::string> args;
  std::string stdin_file;
};

std::vector<std::string> split_words(const std::string& text) {
  std::vector<std::string> words;
  std::string word;
  bool quoted = false, in_word = false;
  for (char c : text) {
    if (c == '"') {
      quoted = !quoted;
      in_word = true;
    } else if (!quoted && (c == ' ' || c == '\t')) {
      if (in_word) words.push_back(word);
      word.clear();
      in_word = false;
    } else {
      word.push_back(c);
      in_word = true;
    }
  }
  if (in_word) words.push_back(word);
  return words;
}

std::vector<golden_case> load_cases(const std::string& file) {
  std::vector<golden_case> cases;
  std::ifstream in(std::string(SLIX_GOLDEN_DIR) + "/" + file);
  for (std::string line; std::getline(in, line);) {
    std::vector<std::string> words = split_words(line);
    if (words.empty() || words[0][0] == '#') continue;
    golden_case c{words[0], {}, {}};
    for (size_t i = 1; i < words.size(); ++i) {
      if (words[i] == "{quote}") words[i] = "\"";
      if (words[i].size() > 1 && words[i][0] == '<') {
        c.stdin_file = words[i].substr(1);
      } else {
        c.args.push_back(words[i]);
      }
    }
    cases.push_back(c);
  }
  return cases;
}

// Decompresses every .gz (and unpacks every .tgz) of `source` into `dir`.
void unpack_folder(const std::string& source, const slix_test::temp_dir& dir) {
  for (const auto& item : fs::directory_iterator(source)) {
    const fs::path path = item.path();
    if (!item.is_regular_file()) continue;
    if (path.extension() == ".gz") slix_test::gunzip(path.string(), dir.file(path.stem().string()));
    if (path.extension() == ".tgz") slix_test::shell("tar -xf '" + path.string() + "' -C '" + dir.path() + "'");
  }
}

// Working folder of the cases: every committed fixture, decompressed (the
// VMDK disks too).
const std::string& fixture_workdir() {
  static std::unique_ptr<slix_test::temp_dir> dir;
  if (!dir) {
    dir = std::make_unique<slix_test::temp_dir>();
    unpack_folder(SLIX_FIXTURES_DIR, *dir);
    unpack_folder(std::string(SLIX_FIXTURES_DIR) + "/vmdk", *dir);
    unpack_folder(std::string(SLIX_FIXTURES_DIR) + "/disk", *dir);
    unpack_folder(std::string(SLIX_FIXTURES_DIR) + "/containers", *dir);
    unpack_folder(std::string(SLIX_FIXTURES_DIR) + "/accuracy", *dir);
    slix_test::shell("sh '" + std::string(SLIX_FIXTURES_DIR) + "/vmdk/make_truncated_copies.sh' '" + dir->path() + "'");
  }
  return dir->path();
}

// Working folder of the cases on the shared real-world images.
const std::string& shared_workdir() {
  static std::unique_ptr<slix_test::temp_dir> dir;
  if (!dir) {
    dir = std::make_unique<slix_test::temp_dir>();
    unpack_folder(slix_test::shared_testdata_dir(), *dir);
  }
  return dir->path();
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

TEST_P(golden, output_matches_expected) { check_case(GetParam(), fixture_workdir()); }

// Cases on the images in ../shared/testdata, made on Windows by others.
class golden_shared : public testing::TestWithParam<golden_case> {};

TEST_P(golden_shared, output_matches_expected) {
  if (slix_test::shared_testdata_dir().empty()) GTEST_SKIP() << "../shared/testdata is absent: real-image case skipped";
  check_case(GetParam(), shared_workdir());
}

std::string case_name(const testing::TestParamInfo<golden_case>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(indx_file, golden, testing::ValuesIn(load_cases("cases.txt")), case_name);
INSTANTIATE_TEST_SUITE_P(volume, golden, testing::ValuesIn(load_cases("cases_volume.txt")), case_name);
INSTANTIATE_TEST_SUITE_P(timeline, golden, testing::ValuesIn(load_cases("cases_timeline.txt")), case_name);
INSTANTIATE_TEST_SUITE_P(windows_images, golden_shared, testing::ValuesIn(load_cases("cases_shared.txt")), case_name);

}  // namespace
