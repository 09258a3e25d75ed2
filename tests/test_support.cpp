#include "test_support.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

extern char** environ;

namespace slix_test {

// The three standard streams are files of a private folder: no pipe to fill
// up and deadlock on, and the run sees what a shell redirection gives it.
run_result run_slix(const std::vector<std::string>& args, const std::string& stdin_text, const std::string& cwd) {
  const temp_dir io;
  write_text(io.file("in"), stdin_text);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, io.file("in").c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, io.file("out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, io.file("err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (!cwd.empty()) posix_spawn_file_actions_addchdir_np(&actions, cwd.c_str());
  std::vector<std::string> storage{SLIX_BINARY};
  storage.insert(storage.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (auto& s : storage) argv.push_back(s.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  const int rc = posix_spawn(&pid, SLIX_BINARY, &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (rc != 0) throw std::runtime_error("cannot start " SLIX_BINARY);
  int wstatus = 0;
  ::waitpid(pid, &wstatus, 0);
  return {WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : 128 + WTERMSIG(wstatus), read_text(io.file("out")),
          read_text(io.file("err"))};
}

temp_dir::temp_dir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "slix-test-XXXXXX").string();
  if (!::mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp");
  m_path = pattern;
}

temp_dir::~temp_dir() {
  std::error_code ec;
  std::filesystem::remove_all(m_path, ec);
}

std::string shell(const std::string& command, int* status) {
  std::string out;
  FILE* pipe = ::popen(command.c_str(), "r");
  if (!pipe) {
    if (status) *status = -1;
    return out;
  }
  char buf[65536];
  for (size_t n; (n = std::fread(buf, 1, sizeof buf, pipe)) > 0;) out.append(buf, n);
  const int rc = ::pclose(pipe);
  if (status) *status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
  return out;
}

bool have_tool(const std::string& name) {
  int status = 0;
  shell("command -v '" + name + "' >/dev/null 2>&1", &status);
  return status == 0;
}

bool gunzip(const std::string& source, const std::string& target) {
  int status = 0;
  shell("gzip -dc '" + source + "' > '" + target + "' 2>/dev/null", &status);
  return status == 0;
}

namespace {

// Decompresses every .gz (and unpacks every .tgz) of `source` into `dir`.
void unpack_folder(const std::string& source, const temp_dir& dir) {
  for (const auto& item : std::filesystem::directory_iterator(source)) {
    const std::filesystem::path path = item.path();
    if (!item.is_regular_file()) continue;
    if (path.extension() == ".gz") gunzip(path.string(), dir.file(path.stem().string()));
    if (path.extension() == ".tgz") shell("tar -xf '" + path.string() + "' -C '" + dir.path() + "'");
  }
}

}  // namespace

const std::string& fixture_workdir() {
  static const temp_dir dir;
  static const bool unpacked = [] {
    for (const char* folder : {"", "/vmdk", "/disk", "/containers", "/accuracy", "/safety", "/unalloc", "/vss"}) unpack_folder(SLIX_FIXTURES_DIR + std::string(folder), dir);
    shell("sh '" SLIX_FIXTURES_DIR "/vmdk/make_truncated_copies.sh' '" + dir.path() + "'");
    return true;
  }();
  (void)unpacked;
  return dir.path();
}

const std::string& shared_workdir() {
  static const temp_dir dir;
  static const std::string path =
      std::filesystem::is_directory(SLIX_SHARED_TESTDATA) ? (unpack_folder(SLIX_SHARED_TESTDATA, dir), dir.path()) : "";
  return path;
}

std::string fixture(const std::string& name) { return std::string(SLIX_FIXTURES_DIR) + "/" + name; }

std::vector<uint8_t> read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

void write_file(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

void write_text(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
}

std::string read_text(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

}  // namespace slix_test
