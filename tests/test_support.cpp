#include "test_support.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

extern char** environ;

namespace slix_test {
namespace {

// Pumps stdin text into the child and drains both of its output pipes
// without deadlocking on full pipe buffers.
void pump(int in_fd, const std::string& input, int out_fd, int err_fd, run_result& result) {
  size_t written = 0;
  if (input.empty()) {
    ::close(in_fd);
    in_fd = -1;
  }
  bool out_open = true, err_open = true;
  char buf[65536];
  while (out_open || err_open) {
    pollfd fds[3] = {{out_fd, POLLIN, 0}, {err_fd, POLLIN, 0}, {in_fd, POLLOUT, 0}};
    ::poll(fds, in_fd >= 0 ? 3 : 2, -1);
    for (int i = 0; i < 2; ++i) {
      if (!(fds[i].revents & (POLLIN | POLLHUP))) continue;
      const ssize_t n = ::read(fds[i].fd, buf, sizeof buf);
      if (n <= 0) {
        (i == 0 ? out_open : err_open) = false;
        fds[i].fd = -1;
      } else {
        (i == 0 ? result.out : result.err).append(buf, static_cast<size_t>(n));
      }
    }
    if (!out_open) out_fd = -1;
    if (!err_open) err_fd = -1;
    if (in_fd >= 0 && (fds[2].revents & (POLLOUT | POLLERR | POLLHUP))) {
      const ssize_t n = ::write(in_fd, input.data() + written, input.size() - written);
      if (n > 0) written += static_cast<size_t>(n);
      if (n <= 0 || written == input.size()) {
        ::close(in_fd);
        in_fd = -1;
      }
    }
  }
  if (in_fd >= 0) ::close(in_fd);
}

}  // namespace

run_result run_slix(const std::vector<std::string>& args, const std::string& stdin_text, const std::string& cwd) {
  // A run may end without reading its standard input; writing to it must then
  // fail with EPIPE, not kill the test program.
  static const bool sigpipe_ignored = ::signal(SIGPIPE, SIG_IGN) != SIG_ERR;
  (void)sigpipe_ignored;
  int in_pipe[2], out_pipe[2], err_pipe[2];
  if (::pipe(in_pipe) || ::pipe(out_pipe) || ::pipe(err_pipe)) throw std::runtime_error("pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in_pipe[0], 0);
  posix_spawn_file_actions_adddup2(&actions, out_pipe[1], 1);
  posix_spawn_file_actions_adddup2(&actions, err_pipe[1], 2);
  for (int fd : {in_pipe[0], in_pipe[1], out_pipe[0], out_pipe[1], err_pipe[0], err_pipe[1]})
    posix_spawn_file_actions_addclose(&actions, fd);
  if (!cwd.empty()) posix_spawn_file_actions_addchdir_np(&actions, cwd.c_str());
  std::vector<std::string> storage{SLIX_BINARY};
  storage.insert(storage.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (auto& s : storage) argv.push_back(s.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  const int rc = posix_spawn(&pid, SLIX_BINARY, &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(in_pipe[0]);
  ::close(out_pipe[1]);
  ::close(err_pipe[1]);
  if (rc != 0) throw std::runtime_error("cannot start " SLIX_BINARY);
  run_result result;
  pump(in_pipe[1], stdin_text, out_pipe[0], err_pipe[0], result);
  ::close(out_pipe[0]);
  ::close(err_pipe[0]);
  int wstatus = 0;
  ::waitpid(pid, &wstatus, 0);
  result.status = WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : 128 + WTERMSIG(wstatus);
  return result;
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

std::string fixture(const std::string& name) { return std::string(SLIX_FIXTURES_DIR) + "/" + name; }

std::string shared_testdata_dir() {
  const std::string dir = SLIX_SHARED_TESTDATA;
  return std::filesystem::is_directory(dir) ? dir : std::string();
}

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
