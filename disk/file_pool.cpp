#include "disk/file_pool.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <optional>

#include "support/check.h"

namespace {

bool out_of_descriptors(int error) { return error == EMFILE || error == ENFILE; }

}  // namespace

file_pool::file_pool(size_t capacity) : m_capacity(capacity) { SLIX_CHECK(capacity > 0); }

int file_pool::add(const std::string& path, size_t& id) {
  vk::unique_fd fd;
  if (const int error = open_with_room(path, fd, true); error != 0) return error;
  const std::optional<vk::file_identity> identity = vk::identity_of_fd(fd.get());
  if (!identity) return errno;
  if (m_released.empty()) {
    id = m_files.size();
    m_files.emplace_back();
  } else {
    id = m_released.back();
    m_released.pop_back();
  }
  m_files[id] = {path, *identity, {}, 0};
  hold(id, std::move(fd));
  return 0;
}

int file_pool::descriptor(size_t id) {
  entry& file = m_files.at(id);
  if (!file.fd.valid()) {
    vk::unique_fd fd;
    if (open_with_room(file.path, fd, false) != 0 || vk::identity_of_fd(fd.get()) != file.identity) return -1;
    hold(id, std::move(fd));
  }
  file.last_use = ++m_clock;
  return file.fd.get();
}

void file_pool::close_all() {
  for (size_t id : m_open) m_files[id].fd.reset();
  m_open.clear();
}

void file_pool::release(size_t id) {
  m_files.at(id) = {};
  m_open.erase(std::remove(m_open.begin(), m_open.end(), id), m_open.end());
  m_released.push_back(id);
}

int file_pool::open_with_room(const std::string& path, vk::unique_fd& fd, bool first_time) {
  for (;;) {
    // Opened again, a file is not recorded a second time; O_NONBLOCK keeps a
    // FIFO put in its place from blocking (its identity then differs).
    fd = first_time ? vk::open_source_file(path)
                    : vk::unique_fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (fd.valid()) return 0;
    const int error = errno;
    if (!out_of_descriptors(error) || m_open.empty()) return error;
    close_least_recent();
  }
}

void file_pool::hold(size_t id, vk::unique_fd fd) {
  if (m_open.size() >= m_capacity) close_least_recent();
  m_files[id].fd = std::move(fd);
  m_files[id].last_use = ++m_clock;
  m_open.push_back(id);
}

void file_pool::close_least_recent() {
  const auto oldest = std::min_element(m_open.begin(), m_open.end(),
                                       [this](size_t a, size_t b) { return m_files[a].last_use < m_files[b].last_use; });
  m_files[*oldest].fd.reset();
  m_open.erase(oldest);
}
