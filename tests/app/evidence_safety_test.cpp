// The evidence is never overwritten, and a report that cannot be written is
// a failure: the real binary runs against results files that are sources
// under another name, and against a full device.
#include <gtest/gtest.h>

#include <filesystem>

#include "test_support.h"

namespace {

namespace fs = std::filesystem;

struct guard_case {
  const char* name;
  const char* setup;  // shell commands run in the folder first
  std::vector<std::string> args;
  const char* stdin_text;
  const char* protected_file;  // must keep its bytes
};

// A folder with an INDX file and a VMDK chain, `x/` holding the chain.
class guard : public testing::TestWithParam<guard_case> {
 protected:
  void SetUp() override {
    ASSERT_TRUE(slix_test::gunzip(slix_test::fixture("dir_small.indx.gz"), dir.file("a.indx")));
    ASSERT_TRUE(slix_test::gunzip(slix_test::fixture("root_dir.indx.gz"), dir.file("b.indx")));
    fs::create_directory(dir.file("x"));
    for (const char* file : {"ntfs-disk.vmdk", "ntfs-child.vmdk", "ntfs-flat.vmdk", "ntfs-flat-flat.vmdk"})
      ASSERT_TRUE(slix_test::gunzip(slix_test::fixture(std::string("vmdk/") + file + ".gz"), dir.file("x/") + file));
  }
  slix_test::temp_dir dir;
};

TEST_P(guard, refuses_a_results_file_that_is_a_source) {
  const guard_case& c = GetParam();
  slix_test::shell("cd '" + dir.path() + "' && " + c.setup);
  const std::vector<uint8_t> before = slix_test::read_file(dir.file(c.protected_file));
  const slix_test::run_result run = slix_test::run_slix(c.args, c.stdin_text, dir.path());
  EXPECT_EQ(run.status, 255);
  EXPECT_NE(run.err.find("it is the source being analysed, aborting\n"), std::string::npos) << run.err;
  EXPECT_EQ(slix_test::read_file(dir.file(c.protected_file)), before);
}

INSTANTIATE_TEST_SUITE_P(
    cases, guard,
    testing::Values(
        guard_case{"hard_link", "ln a.indx link.indx", {"-indxfile", "a.indx", "-out", "link.indx"}, "", "a.indx"},
        guard_case{"symbolic_link", "ln -s a.indx sym.indx", {"-indxfile", "sym.indx", "-out", "a.indx"}, "", "a.indx"},
        guard_case{"other_spelling", "true", {"-indxfile", "x/../a.indx", "-out", "./a.indx"}, "", "a.indx"},
        guard_case{
            "pipe_name", "true", {"-indxfile", "b.indx", "-pipe", "-csv", "-out", "a.indx"}, "a.indx\n", "a.indx"},
        // The opener finds the bare child name beside the first disk, in x/.
        guard_case{"vmdk_bare_name",
                   "true",
                   {"-vmdk", "x/ntfs-disk.vmdk | ntfs-child.vmdk", "-out", "x/ntfs-child.vmdk"},
                   "",
                   "x/ntfs-child.vmdk"},
        // The flat extent is named only inside the descriptor.
        guard_case{"vmdk_extent",
                   "true",
                   {"-vmdk", "x/ntfs-flat.vmdk", "-out", "x/ntfs-flat-flat.vmdk"},
                   "",
                   "x/ntfs-flat-flat.vmdk"}),
    [](const auto& info) { return std::string(info.param.name); });

// A full device takes nothing: the run says so and fails.
TEST(write_failure, full_device_is_a_failure) {
  if (!fs::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
  const std::string indx = slix_test::fixture("dir_small.indx.gz");
  int status = 0;
  const std::string err = slix_test::shell(
      "gzip -dc '" + indx + "' | '" SLIX_BINARY "' -indxfile /dev/stdin -all 2>&1 >/dev/full", &status);
  EXPECT_EQ(status, 255);
  EXPECT_EQ(err, "prob writing results to standard output: No space left on device\n");
}

// An INDX file can arrive through a pipe (icat ... | slix -indxfile /dev/stdin).
TEST(pipe_input, indx_file_read_from_a_pipe_equals_the_file) {
  const std::string indx = slix_test::fixture_workdir() + "/dir_many.indx";
  const auto body = [](const std::string& out) { return out.substr(out.find("\n\n")); };
  const slix_test::run_result file = slix_test::run_slix({"-indxfile", indx, "-all", "-csv"});
  int status = 0;
  const std::string piped =
      slix_test::shell("cat '" + indx + "' | '" SLIX_BINARY "' -indxfile /dev/stdin -all -csv", &status);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(body(piped), body(file.out));
}

}  // namespace
