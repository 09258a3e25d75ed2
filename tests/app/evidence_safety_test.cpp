// The evidence is never overwritten, and a report that cannot be written is
// a failure: the real binary runs against results files that are sources
// under another name, and against a full device.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

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

// A folder with two INDX files and, in `x/`, a VMDK chain.
void fill_evidence_folder(const slix_test::temp_dir& dir) {
  ASSERT_TRUE(slix_test::gunzip(slix_test::fixture("dir_small.indx.gz"), dir.file("a.indx")));
  ASSERT_TRUE(slix_test::gunzip(slix_test::fixture("root_dir.indx.gz"), dir.file("b.indx")));
  fs::create_directory(dir.file("x"));
  for (const char* file : {"ntfs-disk.vmdk", "ntfs-child.vmdk", "ntfs-flat.vmdk", "ntfs-flat-flat.vmdk"})
    ASSERT_TRUE(slix_test::gunzip(slix_test::fixture(std::string("vmdk/") + file + ".gz"), dir.file("x/") + file));
}

template <typename Case>
class in_evidence_folder : public testing::TestWithParam<Case> {
 protected:
  void SetUp() override { fill_evidence_folder(dir); }
  slix_test::temp_dir dir;
};

using guard = in_evidence_folder<guard_case>;

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
        guard_case{"pipe_alone_name", "true", {"-pipe", "-csv", "-out", "a.indx"}, "b.indx\n a.indx \n", "a.indx"},
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

// Standard output redirected onto a source (`>>`, `1<>`) receives nothing:
// no report, no header, not even the header of a refused run.
struct stdout_case {
  const char* name;
  const char* command;  // run in the folder; $SLIX is the binary
  const char* protected_file;
  const char* message;
};

using stdout_guard = in_evidence_folder<stdout_case>;

TEST_P(stdout_guard, writes_nothing_into_a_source) {
  const stdout_case& c = GetParam();
  slix_test::shell("cd '" + dir.path() + "' && gzip -dc '" + slix_test::fixture("safety/vol_dump_names.img.gz") +
                   "' > v.img");
  const std::vector<uint8_t> before = slix_test::read_file(dir.file(c.protected_file));
  int status = 0;
  slix_test::shell("cd '" + dir.path() + "' && SLIX='" SLIX_BINARY "' && " + c.command + " 2> err.txt", &status);
  EXPECT_EQ(status, 255);
  EXPECT_NE(slix_test::read_text(dir.file("err.txt")).find(c.message), std::string::npos);
  EXPECT_EQ(slix_test::read_file(dir.file(c.protected_file)), before);
}

constexpr const char* is_source = "prob opening file /dev/stdout for output, it is the source being analysed, aborting\n";

INSTANTIATE_TEST_SUITE_P(
    cases, stdout_guard,
    testing::Values(stdout_case{"indx_appended", "\"$SLIX\" -indxfile a.indx -quiet >> a.indx", "a.indx", is_source},
                    stdout_case{"indx_read_write", "\"$SLIX\" -indxfile a.indx -out /dev/stdout 1<> a.indx", "a.indx",
                                "prob opening file /dev/stdout for output, it is the source"},
                    stdout_case{"image_appended", "\"$SLIX\" -image v.img -quiet >> v.img", "v.img", is_source},
                    stdout_case{"image_read_write", "\"$SLIX\" -image v.img -all 1<> v.img", "v.img", is_source},
                    stdout_case{"vmdk_extent_appended", "\"$SLIX\" -vmdk x/ntfs-flat.vmdk -offset 0x100000 >> x/ntfs-flat-flat.vmdk",
                                "x/ntfs-flat-flat.vmdk", is_source},
                    stdout_case{"piped_name_appended", "echo a.indx | \"$SLIX\" -pipe -quiet >> a.indx", "a.indx",
                                is_source},
                    stdout_case{"refused_option_appended", "\"$SLIX\" -indxfile a.indx -bogus >> a.indx", "a.indx",
                                "prob with argument \"-bogus\""}),
    [](const auto& info) { return std::string(info.param.name); });

// A run that analyses nothing leaves yesterday's report as it was, and does
// not create one either.
struct failed_run_case {
  const char* name;
  std::vector<std::string> args;  // the results file is added
  const char* stdin_text;
};

using failed_run = in_evidence_folder<failed_run_case>;

TEST_P(failed_run, leaves_the_results_file_alone) {
  const failed_run_case& c = GetParam();
  slix_test::write_text(dir.file("report.csv"), "yesterday's report\n");
  for (const char* report : {"report.csv", "new.csv"}) {
    std::vector<std::string> args = c.args;
    args.insert(args.end(), {"-out", report});
    EXPECT_EQ(slix_test::run_slix(args, c.stdin_text, dir.path()).status, 255) << report;
  }
  EXPECT_EQ(slix_test::read_text(dir.file("report.csv")), "yesterday's report\n");
  EXPECT_FALSE(fs::exists(dir.file("new.csv")));
}

INSTANTIATE_TEST_SUITE_P(
    cases, failed_run,
    testing::Values(failed_run_case{"missing_indx_file", {"-indxfile", "missing.indx", "-csv"}, ""},
                    failed_run_case{"missing_image", {"-image", "missing.img"}, ""},
                    failed_run_case{"no_source", {"-csv"}, ""},
                    failed_run_case{"refused_option", {"-indxfile", "a.indx", "-bogus"}, ""},
                    failed_run_case{"empty_pipe_list", {"-pipe", "-csv"}, ""},
                    failed_run_case{"pipe_list_of_missing_files", {"-pipe", "-csv"}, "missing.indx\n"},
                    failed_run_case{"path_not_found", {"-vmdk", "x/ntfs-flat.vmdk", "-offset", "0x100000", "-path", "\\no such folder"}, ""}),
    [](const auto& info) { return std::string(info.param.name); });

// -pipe reads names from standard input; on a terminal it says so at once
// instead of waiting for names nobody means to type.
TEST(pipe_input, refuses_a_terminal_at_once) {
  if (!slix_test::have_tool("script")) GTEST_SKIP() << "no script(1) here";
  int status = 0;
  const std::string shown =
      slix_test::shell("timeout 20 script -qec \"'" SLIX_BINARY "' -pipe -csv\" /dev/null < /dev/null", &status);
  EXPECT_EQ(status, 255);
  EXPECT_NE(shown.find("prob with -pipe: it reads INDX file names from standard input"), std::string::npos) << shown;
}

// Dumps go to the current folder whatever the directory names on the volume
// say: "/" and ".." lead nowhere, a leading "." hides nothing, and a file
// already standing outside is never touched.
TEST(raw_dump, names_cannot_leave_the_current_folder) {
  slix_test::temp_dir dir;
  const std::string work = dir.file("a/b");
  fs::create_directories(work);
  ASSERT_TRUE(slix_test::gunzip(slix_test::fixture("safety/vol_dump_names.img.gz"), work + "/v.img"));
  const std::string probe = "/tmp/slix-rawdump-probe";
  fs::create_directories(probe);
  slix_test::write_file(probe + "/evil.indx.root.bin", std::vector<uint8_t>(100000, 0x5a));
  for (const std::vector<std::string>& args : {std::vector<std::string>{"-image", "v.img", "-rawdump", "-quiet"},
                                               {"-image", "v.img", "-path", "\\", "-level", "1", "-rawdump"}})
    EXPECT_EQ(slix_test::run_slix(args, "", work).status, 0);
  EXPECT_EQ(fs::file_size(probe + "/evil.indx.root.bin"), 100000u);
  fs::remove_all(probe);
  std::set<std::string> made;
  for (const auto& file : fs::directory_iterator(work)) made.insert(file.path().filename().string());
  const std::set<std::string> expected{"v.img", "root.indx.root.bin", "root.indx.alloc.bin", "$Extend.indx.root.bin",
                                       "%2e%2e%2f%2e%2e%2fevil.indx.root.bin", "%2ehidden.indx.root.bin",
                                       "%2ftmp%2fslix-rawdump-probe%2fevil.indx.root.bin"};
  EXPECT_EQ(made, expected);
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);
}

// A dump that cannot be written is named, with the reason; the run goes on.
TEST(raw_dump, a_dump_not_written_is_named) {
  slix_test::temp_dir dir;
  ASSERT_TRUE(slix_test::gunzip(slix_test::fixture("safety/vol_dump_names.img.gz"), dir.file("v.img")));
  fs::create_directory(dir.file("root.indx.root.bin"));
  const slix_test::run_result run = slix_test::run_slix({"-image", "v.img", "-mft", "5", "-rawdump"}, "", dir.path());
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "failed: raw dump root.indx.root.bin not written: Is a directory\n");
  EXPECT_TRUE(fs::is_directory(dir.file("root.indx.root.bin")));
  EXPECT_EQ(fs::file_size(dir.file("root.indx.alloc.bin")), 4096u);
}

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
