// The machine-readable reports as timeline tools take them: -nobanner
// reports and -jsonl read back by Python's json and csv modules and by The
// Sleuth Kit's mactime (tests/app/timeline_readers.py), a report continued
// with -append, and the status line kept off the report on one terminal.
#include <gtest/gtest.h>

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <sstream>

#include "test_support.h"

namespace {

using slix_test::read_text;
using slix_test::run_slix;

// The fixtures the cases read, decompressed once.
const slix_test::temp_dir& fixtures() {
  static std::unique_ptr<slix_test::temp_dir> dir;
  if (!dir) {
    dir = std::make_unique<slix_test::temp_dir>();
    for (const char* name : {"dir_many.indx", "dir_small.indx", "root_dir.indx", "handmade_hostile.indx",
                             "vol_nested.img"})
      slix_test::gunzip(slix_test::fixture(std::string(name) + ".gz"), dir->file(name));
  }
  return *dir;
}

struct reader_case {
  std::string name;
  std::vector<std::string> source;
};

void PrintTo(const reader_case& c, std::ostream* os) { *os << c.name; }

class timeline_readers : public testing::TestWithParam<reader_case> {};

// Every layout of one source, -all -nobanner, into files; then the readers.
TEST_P(timeline_readers, every_line_parses_and_every_entry_is_in_the_json_lines) {
  if (!slix_test::have_tool("python3")) GTEST_SKIP() << "python3 is not installed: the readers cannot run";
  const slix_test::temp_dir out;
  const std::vector<std::pair<std::string, std::string>> layouts{
      {"-csv", "all.csv"}, {"-csvl2t", "all.l2t.csv"}, {"-jsonl", "all.jsonl"}, {"-bodyfile", "all.body"}};
  for (const auto& [layout, file] : layouts) {
    std::vector<std::string> args = GetParam().source;
    for (const std::string& more : {std::string("-all"), std::string("-nobanner"), std::string("-quiet"), layout,
                                    std::string("-out"), out.file(file)})
      args.push_back(more);
    ASSERT_EQ(run_slix(args, "", fixtures().path()).status, 0) << layout;
  }
  std::string command = "python3 '" + std::string(SLIX_SOURCE_DIR) + "/tests/app/timeline_readers.py'";
  for (const auto& [layout, file] : layouts) command += " '" + out.file(file) + "'";
  const bool have_mactime = slix_test::have_tool("mactime");
  if (have_mactime) {
    int mactime_status = -1;
    const std::string listing = slix_test::shell(
        "mactime -b '" + out.file("all.body") + "' -d -y -z UTC 2>'" + out.file("mactime.err") + "'", &mactime_status);
    ASSERT_EQ(mactime_status, 0);
    EXPECT_EQ(read_text(out.file("mactime.err")), "");
    slix_test::write_text(out.file("mactime.csv"), listing);
    command += " '" + out.file("mactime.csv") + "'";
  }
  int status = -1;
  const std::string report = slix_test::shell(command + " 2>&1", &status);
  EXPECT_EQ(status, 0) << report;
  if (!have_mactime) GTEST_SKIP() << "mactime (The Sleuth Kit) is not installed: the bodyfile was not read by it";
}

const std::vector<reader_case> reader_cases{
    {"slack_annotations", {"-indxfile", "dir_many.indx"}},
    {"hostile_names_and_times", {"-indxfile", "handmade_hostile.indx"}},
    {"whole_volume", {"-image", "vol_nested.img"}},
    {"volume_levels", {"-image", "vol_nested.img", "-path", "\\nested", "-level", "2"}},
};

INSTANTIATE_TEST_SUITE_P(sources, timeline_readers, testing::ValuesIn(reader_cases),
                         [](const testing::TestParamInfo<reader_case>& info) { return info.param.name; });

struct append_case {
  std::string layout;
  size_t header_lines;  // lines of the report that a continued -nobanner report leaves out
};

void PrintTo(const append_case& c, std::ostream* os) { *os << c.layout; }

// A results file in a fresh folder, and runs of slix on dir_small into it.
struct results_file {
  slix_test::temp_dir dir;
  std::string path = dir.file("report");

  // The file's content after a run with `layout` and the `more` options.
  std::string after_run(const std::string& layout, const std::vector<std::string>& more) const {
    std::vector<std::string> args{"-indxfile", "dir_small.indx", "-all", layout, "-out", path};
    args.insert(args.end(), more.begin(), more.end());
    EXPECT_EQ(run_slix(args, "", fixtures().path()).status, 0) << layout;
    return read_text(path);
  }
};

std::string without_first_lines(const std::string& text, size_t count) {
  size_t start = 0;
  for (size_t i = 0; i < count; ++i) start = text.find('\n', start) + 1;
  return text.substr(start);
}

class nobanner_append : public testing::TestWithParam<append_case> {};

// A second run appended to a -nobanner report adds its rows, and no second
// column header in the middle.
TEST_P(nobanner_append, continues_without_a_second_header) {
  const results_file results;
  const std::string first = results.after_run(GetParam().layout, {"-nobanner"});
  EXPECT_EQ(results.after_run(GetParam().layout, {"-nobanner", "-append"}),
            first + without_first_lines(first, GetParam().header_lines));
}

// An empty file given to -append has no header yet: it gets one.
TEST_P(nobanner_append, an_empty_file_gets_its_header) {
  const results_file results;
  const std::string fresh = results.after_run(GetParam().layout, {"-nobanner"});
  slix_test::write_text(results.path, "");
  EXPECT_EQ(results.after_run(GetParam().layout, {"-nobanner", "-append"}), fresh);
}

INSTANTIATE_TEST_SUITE_P(layouts, nobanner_append,
                         testing::Values(append_case{"-csv", 1}, append_case{"-csvl2t", 1},
                                         append_case{"-bodyfile", 0}, append_case{"-jsonl", 0}),
                         [](const testing::TestParamInfo<append_case>& info) { return info.param.layout.substr(1); });

// Without -nobanner, -append repeats the banner (whose echo now ends in
// -append) and the header, as it always has.
TEST(append_without_nobanner, repeats_the_whole_report) {
  for (const std::string layout : {"-hexdump", "-csv", "-csvl2t", "-bodyfile"}) {
    const results_file results;
    const std::string first = results.after_run(layout, {});
    std::string second = first;
    const std::string echo_end = results.path + "\"\n";
    second.replace(second.find(echo_end), echo_end.size(), results.path + " -append\"\n");
    EXPECT_EQ(results.after_run(layout, {"-append"}), first + second) << layout;
  }
}

// What a terminal shows of the bytes written to it: a carriage return goes to
// the start of the line, a line feed to the next line, ESC [ K erases to the
// end of the line, and every other byte is put at the cursor.
std::vector<std::string> terminal_screen(const std::string& bytes) {
  std::vector<std::string> lines(1);
  size_t column = 0;
  for (size_t i = 0; i < bytes.size(); ++i) {
    std::string& line = lines.back();
    if (bytes[i] == '\r') {
      column = 0;
    } else if (bytes[i] == '\n') {
      lines.emplace_back();
      column = 0;
    } else if (bytes.compare(i, 3, "\x1b[K") == 0) {
      line.resize(std::min(line.size(), column));
      i += 2;
    } else {
      if (column < line.size()) {
        line[column] = bytes[i];
      } else {
        line.push_back(bytes[i]);
      }
      ++column;
    }
  }
  while (!lines.empty() && lines.back().empty()) lines.pop_back();
  return lines;
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// Runs slix with standard output and standard error on one pseudo-terminal,
// as in an examiner's shell, and returns everything the terminal received.
std::string run_on_terminal(const std::vector<std::string>& args, const std::string& cwd) {
  std::vector<std::string> storage{SLIX_BINARY};
  storage.insert(storage.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& arg : storage) argv.push_back(arg.data());
  argv.push_back(nullptr);
  int master = -1;
  const pid_t pid = ::forkpty(&master, nullptr, nullptr, nullptr);
  if (pid == 0) {
    if (::chdir(cwd.c_str()) == 0) ::execv(SLIX_BINARY, argv.data());
    ::_exit(127);
  }
  std::string received;
  char buffer[65536];
  for (;;) {
    const ssize_t n = ::read(master, buffer, sizeof buffer);
    if (n > 0) {
      received.append(buffer, static_cast<size_t>(n));
    } else if (n < 0 && errno == EINTR) {
      continue;
    } else {
      break;  // EIO once the child has closed the terminal
    }
  }
  ::close(master);
  int wstatus = 0;
  ::waitpid(pid, &wstatus, 0);
  return received;
}

// The status line ("parsing: \dir") is drawn on the terminal without a line
// feed while the report is buffered; when the buffer is written to the same
// terminal, no report line may continue the status text.  The whole volume
// gives reports far larger than the buffer, so it is written mid-run.
TEST(status_line, never_shares_a_terminal_line_with_the_report) {
  const std::vector<std::string> args{"-image", "vol_nested.img", "-all", "-csv"};
  const std::string shown = run_on_terminal(args, fixtures().path());
  ASSERT_NE(shown.find("parsing: "), std::string::npos) << "the status line was not drawn";
  const std::vector<std::string> report = lines_of(run_slix(args, "", fixtures().path()).out);
  ASSERT_GT(report.size(), 3000u);
  const std::vector<std::string> screen = terminal_screen(shown);
  ASSERT_EQ(screen.size(), report.size());
  for (size_t i = 0; i < report.size(); ++i) ASSERT_EQ(screen[i], report[i]) << "terminal line " << i + 1;
}

}  // namespace
