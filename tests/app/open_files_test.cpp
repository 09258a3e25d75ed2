// Sources made of many files, and files that exist but cannot be opened.
// A split raw set of more pieces than the process may hold open, a VMDK
// whose extents all name one file and one whose extents name 128 files, read
// whole under a low limit; every file that cannot be opened (no descriptor
// left, no permission, a symbolic link loop) is named with the system's
// reason, and the run ends with status 255.
// The sets are derived from the committed fixtures by
// tests/fixtures/containers/make_open_file_sets.sh.  slix runs in a child
// process that holds only its three standard streams, with the limit
// lowered (soft and hard, so that slix cannot raise it); a file is made
// unreadable by running slix as an unprivileged user, since root reads
// every file whatever its mode.
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "test_support.h"

namespace {

using slix_test::run_result;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool sanitized = true;
#elif defined(__has_feature)
constexpr bool sanitized = __has_feature(address_sanitizer);
#else
constexpr bool sanitized = false;
#endif

// Under 4 open files slix uses every descriptor it has.  The sanitizers'
// runtime then cannot check memory (it needs a pipe of its own) and reports
// errors that are not there, so those runs are left to the plain build.
constexpr unsigned tightest_limit = 4;
bool skip_when_exhausted(unsigned max_files) { return sanitized && max_files == tightest_limit; }

constexpr uid_t nobody = 65534;

// Runs slix in `cwd` with its standard streams on files and no other
// descriptor; `max_files` (when not 0) as its limit on open files, and as
// the user nobody when `unprivileged`.  Only async-signal-safe calls
// between fork and exec.
run_result run_limited(const std::string& cwd, unsigned max_files, bool unprivileged,
                       const std::vector<std::string>& args) {
  const slix_test::temp_dir io;
  const std::string out = io.file("out"), err = io.file("err");
  std::vector<std::string> storage{SLIX_BINARY};
  storage.insert(storage.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& arg : storage) argv.push_back(arg.data());
  argv.push_back(nullptr);
  const pid_t pid = ::fork();
  if (pid == 0) {
    const bool streams = ::dup2(::open("/dev/null", O_RDONLY), 0) == 0 &&
                         ::dup2(::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), 1) == 1 &&
                         ::dup2(::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), 2) == 2;
    ::close_range(3, ~0U, 0);
    const rlimit limit{max_files, max_files};
    const bool limited = max_files == 0 || ::setrlimit(RLIMIT_NOFILE, &limit) == 0;
    const bool user = !unprivileged || (::setgroups(0, nullptr) == 0 && ::setgid(nobody) == 0 && ::setuid(nobody) == 0);
    if (streams && limited && user && ::chdir(cwd.c_str()) == 0) ::execv(SLIX_BINARY, argv.data());
    ::_exit(127);
  }
  int status = 0;
  ::waitpid(pid, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), slix_test::read_text(out),
          slix_test::read_text(err)};
}

// A folder an unprivileged user can enter, holding committed fixtures
// decompressed, named as given.
class fixture_folder {
 public:
  fixture_folder() { ::chmod(m_dir.path().c_str(), 0755); }
  void add(const std::string& fixture, const std::string& name) {
    ASSERT_TRUE(slix_test::gunzip(slix_test::fixture(fixture + ".gz"), m_dir.file(name))) << fixture;
    ::chmod(m_dir.file(name).c_str(), 0644);
  }
  void add_folder(const std::string& name, mode_t mode) { ::mkdir(m_dir.file(name).c_str(), mode); }
  const std::string& path() const { return m_dir.path(); }
  std::string file(const std::string& name) const { return m_dir.file(name); }

 private:
  slix_test::temp_dir m_dir;
};

const fixture_folder& open_file_sets() {
  static fixture_folder folder;
  static const bool made = [] {
    folder.add("vmdk/ntfs-disk.raw", "ntfs-disk.raw");
    folder.add("containers/ntfs-split.001", "ntfs-split.001");
    for (int n = 1; n <= 17; ++n) {
      const std::string name = std::string("ntfs-multi.E") + (n < 10 ? "0" : "") + std::to_string(n);
      folder.add("containers/" + name, name);
    }
    for (const char* name : {"ntfs-child.qcow2", "ntfs-base.qcow2"}) folder.add(std::string("containers/") + name, name);
    int status = -1;
    slix_test::shell("sh '" SLIX_FIXTURES_DIR "/containers/make_open_file_sets.sh' '" + folder.path() + "'", &status);
    return status == 0;
  }();
  EXPECT_TRUE(made);
  return folder;
}

// Drops the banner and command-line lines, which name the source.
std::string without_header(const std::string& out) {
  const size_t second = out.find('\n', out.find('\n') + 1);
  return second == std::string::npos ? "" : out.substr(second + 1);
}

struct whole_read {
  std::string name;
  unsigned max_files;
  std::vector<std::string> source;
};

void PrintTo(const whole_read& read, std::ostream* os) { *os << read.name; }

class read_under_limit : public testing::TestWithParam<whole_read> {};

TEST_P(read_under_limit, gives_the_raw_disk_output) {
  if (skip_when_exhausted(GetParam().max_files)) GTEST_SKIP() << "no descriptor left for the sanitizers";
  const std::string& dir = open_file_sets().path();
  const std::vector<std::string> options{"-offset", "0x100000", "-all", "-csv", "-quiet"};
  std::vector<std::string> source_args = GetParam().source, raw_args{"-image", "ntfs-disk.raw"};
  source_args.insert(source_args.end(), options.begin(), options.end());
  raw_args.insert(raw_args.end(), options.begin(), options.end());
  const run_result from_source = run_limited(dir, GetParam().max_files, false, source_args);
  const run_result from_raw = run_limited(dir, 0, false, raw_args);
  EXPECT_EQ(from_source.status, 0);
  EXPECT_EQ(from_source.err, "");
  EXPECT_EQ(without_header(from_source.out), without_header(from_raw.out));
  EXPECT_GT(from_raw.out.size(), 10000u);
}

// Under 64 and 100 open files the pools (32 pieces, 64 extent files) never
// run out; 4 open files leave one descriptor to slix besides its three
// standard streams, so every file opened closes another.
INSTANTIATE_TEST_SUITE_P(
    sets, read_under_limit,
    testing::Values(whole_read{"split_1119_pieces_64_files", 64, {"-image", "many-pieces.001"}},
                    whole_read{"split_1119_pieces_4_files", 4, {"-image", "many-pieces.001"}},
                    whole_read{"vmdk_2048_extents_of_one_file_64_files", 64,
                               {"-vmdk", "many-extents.vmdk"}},
                    whole_read{"vmdk_2048_extents_of_one_file_4_files", 4,
                               {"-vmdk", "many-extents.vmdk"}},
                    whole_read{"vmdk_128_extent_files_100_files", 100, {"-vmdk", "many-files.vmdk"}},
                    whole_read{"vmdk_128_extent_files_4_files", 4, {"-vmdk", "many-files.vmdk"}}),
    [](const auto& info) { return info.param.name; });

struct named_fault {
  std::string name;
  unsigned max_files;
  std::vector<std::string> args;
  std::string err;
};

void PrintTo(const named_fault& fault, std::ostream* os) { *os << fault.name; }

void expect_fault(const named_fault& fault, const std::string& dir, bool unprivileged) {
  const run_result result = run_limited(dir, fault.max_files, unprivileged, fault.args);
  EXPECT_EQ(result.status, 255);
  EXPECT_EQ(result.err, fault.err + "prob analyzing directory \n");
}

const std::string invalid_vmdk = "invalid disk collection of snaps \n";

class open_fault : public testing::TestWithParam<named_fault> {};

TEST_P(open_fault, names_the_file_and_the_reason) {
  if (skip_when_exhausted(GetParam().max_files)) GTEST_SKIP() << "no descriptor left for the sanitizers";
  expect_fault(GetParam(), open_file_sets().path(), false);
}

INSTANTIATE_TEST_SUITE_P(
    sets, open_fault,
    testing::Values(
        named_fault{"split_piece_missing_before_a_four_digit_one", 0, {"-image", "far-piece.001", "-quiet"},
                    "prob reading image far-piece.001: the piece far-piece.002 of the set is missing\n"},
        named_fault{"split_piece_in_a_link_loop", 0, {"-image", "loop-piece.001", "-quiet"},
                    "prob reading image loop-piece.001: the piece loop-piece.002 cannot be opened: Too many levels "
                    "of symbolic links\n"},
        // libewf holds every segment open at once: slix names the first it cannot hold.
        named_fault{"e01_segments_past_the_limit", 4, {"-image", "ntfs-multi.E01", "-quiet"},
                    "prob reading image ntfs-multi.E01: the segment ntfs-multi.E02 cannot be opened: Too many open "
                    "files\n"},
        named_fault{"qcow2_backing_file_past_the_limit", 4, {"-image", "ntfs-child.qcow2", "-quiet"},
                    "prob reading image ntfs-child.qcow2: its backing file ntfs-base.qcow2 cannot be opened "
                    "(ntfs-child.qcow2 -> ntfs-base.qcow2): Too many open files\n"}),
    [](const auto& info) { return info.param.name; });

// One file of each source made unreadable (mode 0600, owned by root).
const fixture_folder& unreadable_files() {
  static fixture_folder folder;
  static const bool made = [] {
    for (const char* n : {"001", "002", "003"}) folder.add(std::string("containers/ntfs-split.") + n, std::string("p.") + n);
    for (const char* n : {"E01", "E02"}) folder.add(std::string("containers/ntfs-multi.") + n, std::string("m.") + n);
    for (const char* name : {"ntfs-child.qcow2", "ntfs-base.qcow2"}) folder.add(std::string("containers/") + name, name);
    for (const char* name : {"ntfs-flat.vmdk", "ntfs-flat-flat.vmdk"}) folder.add(std::string("vmdk/") + name, name);
    folder.add("vmdk/ntfs-disk.raw", "unreadable.raw");
    folder.add("vmdk/ntfs-flat.vmdk", "unreadable.vmdk");
    // A folder that can be entered but not listed.
    folder.add_folder("unlisted", 0711);
    for (const char* n : {"001", "002"}) folder.add(std::string("containers/ntfs-split.") + n, std::string("unlisted/p.") + n);
    for (const char* name : {"p.002", "m.E02", "ntfs-base.qcow2", "ntfs-flat-flat.vmdk", "unreadable.raw", "unreadable.vmdk"})
      ::chmod(folder.file(name).c_str(), 0600);
    return true;
  }();
  EXPECT_TRUE(made);
  return folder;
}

class permission_fault : public testing::TestWithParam<named_fault> {};

TEST_P(permission_fault, names_the_file_and_the_reason) {
  expect_fault(GetParam(), unreadable_files().path(), ::geteuid() == 0);
}

INSTANTIATE_TEST_SUITE_P(
    files, permission_fault,
    testing::Values(
        named_fault{"image", 0, {"-image", "unreadable.raw", "-quiet"},
                    "prob reading image unreadable.raw: it cannot be opened: Permission denied\ninvalid image: "
                    "unreadable.raw\n"},
        named_fault{"split_piece", 0, {"-image", "p.001", "-quiet"},
                    "prob reading image p.001: the piece p.002 cannot be opened: Permission denied\n"},
        named_fault{"e01_segment", 0, {"-image", "m.E01", "-quiet"},
                    "prob reading image m.E01: the segment m.E02 cannot be opened: Permission denied\n"},
        named_fault{"qcow2_backing_file", 0, {"-image", "ntfs-child.qcow2", "-quiet"},
                    "prob reading image ntfs-child.qcow2: its backing file ntfs-base.qcow2 cannot be opened "
                    "(ntfs-child.qcow2 -> ntfs-base.qcow2): Permission denied\n"},
        named_fault{"split_folder_listing", 0, {"-image", "unlisted/p.001", "-quiet"},
                    "prob reading image unlisted/p.001: the folder unlisted cannot be listed to check that no piece "
                    "of the set is missing: Permission denied\n"},
        named_fault{"vmdk_flat_extent", 0, {"-vmdk", "ntfs-flat.vmdk", "-quiet"},
                    "ntfs-flat-flat.vmdk can't be opened: Permission denied\nntfs-flat.vmdk can't be opened\n" +
                        invalid_vmdk},
        named_fault{"vmdk_descriptor", 0, {"-vmdk", "unreadable.vmdk", "-quiet"},
                    "unreadable.vmdk: Permission denied\nunreadable.vmdk can't be opened\n" + invalid_vmdk}),
    [](const auto& info) { return info.param.name; });

}  // namespace
