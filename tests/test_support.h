// Helpers shared by the test programs: running the real slix binary,
// temporary folders, and fixture decompression.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace slix_test {

struct run_result {
  int status = -1;  // exit status as the shell sees it (255 for -1)
  std::string out;
  std::string err;
};

// Runs the slix binary with `args` (argv[0] is added), standard input fed
// from `stdin_text`, and captures both output streams.
// `cwd`, when not empty, is the working folder of the run.
run_result run_slix(const std::vector<std::string>& args, const std::string& stdin_text = "",
                    const std::string& cwd = "");

// A fresh folder under the system temporary folder, removed with its content
// when the object dies.
class temp_dir {
 public:
  temp_dir();
  ~temp_dir();
  temp_dir(const temp_dir&) = delete;
  temp_dir& operator=(const temp_dir&) = delete;
  const std::string& path() const { return m_path; }
  std::string file(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

// Decompresses a .gz file (with gzip -dc) to `target`; false on failure.
bool gunzip(const std::string& source, const std::string& target);

// A folder holding every committed fixture (tests/fixtures/*.gz and its
// vmdk/ and disk/ folders) decompressed, and the truncated copies that
// tests/fixtures/vmdk/make_truncated_copies.sh derives from them; made once
// per test program.  Tests must not change what is in it.
const std::string& fixture_workdir();

// The same for ../shared/testdata ("" when it is absent).
const std::string& shared_workdir();

// Path of a committed fixture file under tests/fixtures.
std::string fixture(const std::string& name);

std::vector<uint8_t> read_file(const std::string& path);
void write_file(const std::string& path, const std::vector<uint8_t>& bytes);
void write_text(const std::string& path, const std::string& text);
std::string read_text(const std::string& path);

// Runs a shell command, returning its standard output; status in *status.
std::string shell(const std::string& command, int* status = nullptr);
bool have_tool(const std::string& name);

}  // namespace slix_test

// Skips the current test when the shared real-world images are absent.
#define SLIX_REQUIRE_SHARED_TESTDATA() \
  if (slix_test::shared_workdir().empty()) GTEST_SKIP() << "../shared/testdata is absent: real-image test skipped"
