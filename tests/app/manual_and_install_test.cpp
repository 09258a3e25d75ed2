// The manual page renders cleanly and names every option the command line
// reader takes (the README too), and an install puts the binary and the
// manual page under the prefix.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>

#include "test_support.h"

namespace {

namespace fs = std::filesystem;
using slix_test::read_text;

const std::string source_dir = SLIX_SOURCE_DIR;

std::string quoted(const std::string& path) { return "'" + path + "'"; }

TEST(manual_page, renders_without_warnings) {
  if (!slix_test::have_tool("groff")) GTEST_SKIP() << "groff is not installed: the manual page was not rendered";
  int status = -1;
  const std::string warnings =
      slix_test::shell("groff -man -Tutf8 -ww " + quoted(source_dir + "/slix.1") + " 2>&1 >/dev/null", &status);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(warnings, "");
  if (!slix_test::have_tool("man")) GTEST_SKIP() << "man is not installed: man -l was not tried";
  const std::string page = slix_test::shell("MANPAGER=cat man -l " + quoted(source_dir + "/slix.1") + " 2>&1", &status);
  EXPECT_EQ(status, 0);
  EXPECT_NE(page.find("EXIT STATUS"), std::string::npos) << page;
}

// Every option word the reader and the driver test for.
std::set<std::string> options_of_the_reader() {
  std::set<std::string> options;
  const std::regex option_word("\"(--?[a-z][a-z0-9_]*)\"");
  for (const char* file : {"/app/command_line.cpp", "/app/driver.cpp"}) {
    const std::string text = read_text(source_dir + file);
    for (std::sregex_iterator it(text.begin(), text.end(), option_word), end; it != end; ++it)
      options.insert((*it)[1]);
  }
  return options;
}

bool names_option(const std::string& text, const std::string& option) {
  for (size_t at = text.find(option); at != std::string::npos; at = text.find(option, at + 1)) {
    const size_t after = at + option.size();
    const bool word_ends = after == text.size() || !(std::isalnum(static_cast<unsigned char>(text[after])) ||
                                                     text[after] == '_');
    const bool word_starts = at == 0 || text[at - 1] != '-';
    if (word_ends && word_starts) return true;
  }
  return false;
}

TEST(manual_page, and_readme_name_every_option) {
  const std::set<std::string> options = options_of_the_reader();
  ASSERT_GT(options.size(), 35u);
  std::string page = read_text(source_dir + "/slix.1");
  for (size_t at = page.find("\\-"); at != std::string::npos; at = page.find("\\-", at)) page.erase(at, 1);
  const std::string readme = read_text(source_dir + "/README.md");
  for (const std::string& option : options) {
    EXPECT_TRUE(names_option(page, option)) << "slix.1 does not name " << option;
    EXPECT_TRUE(names_option(readme, option)) << "README.md does not name " << option;
  }
}

TEST(install, puts_the_binary_and_the_manual_page_under_the_prefix) {
  if (!slix_test::have_tool("cmake")) GTEST_SKIP() << "cmake is not on the PATH: the install was not tried";
  const slix_test::temp_dir prefix;
  const std::string build_dir = fs::path(SLIX_BINARY).parent_path().string();
  int status = -1;
  const std::string log = slix_test::shell(
      "cmake --install " + quoted(build_dir) + " --prefix " + quoted(prefix.path()) + " 2>&1", &status);
  ASSERT_EQ(status, 0) << log;
  EXPECT_EQ(read_text(prefix.file("share/man/man1/slix.1")), read_text(source_dir + "/slix.1"));
  EXPECT_EQ(slix_test::shell(quoted(prefix.file("bin/slix")) + " --version"), "slix ver: 0.58\n");
}

}  // namespace
