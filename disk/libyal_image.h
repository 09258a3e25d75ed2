// A disk object over an image read by one of the libyal libraries (libvhdi,
// libqcow): one file, or a child with the chain of parents it names.  The
// libraries share one shape of interface, so the chain is built once here,
// over the functions `libyal_library` gathers.  Parents are found beside the
// child when they are named relatively (or by a Windows path, whose last
// component is taken), opened read-only through the library and recorded as
// sources; a loop (by device and inode) or a chain longer than
// max_backing_chain is refused with its names, and a file that cannot be
// opened is named with the system's reason.  libewf follows the same
// conventions, and its disk (ewf_disk.cpp) uses the two helpers below.
#pragma once

#include <algorithm>
#include <cerrno>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "disk/container.h"
#include "support/file_util.h"

// Runs one libyal call with an error object of its own, freed afterwards
// (slix reports what failed itself, not the library's wording).
template <typename Error, auto error_free, typename Call>
auto libyal_call(Call&& body) {
  Error* error = nullptr;
  auto result = body(&error);
  if (error != nullptr) error_free(&error);
  return result;
}

// A read of a disk of `size` bytes through a library's read at an offset: cut
// at the end of the disk; a read the library serves short or fails is counted
// in `failed_reads` and gives what it did read.
template <typename ReadAt>
size_t read_counted(uint64_t offset, std::span<uint8_t> buffer, uint64_t size, uint64_t& failed_reads,
                    ReadAt&& read_at) {
  if (offset >= size) return 0;
  const size_t wanted = static_cast<size_t>(std::min<uint64_t>(buffer.size(), size - offset));
  const ssize_t got = read_at(buffer.data(), wanted, offset);
  if (got == static_cast<ssize_t>(wanted)) return wanted;
  ++failed_reads;
  return got > 0 ? static_cast<size_t>(got) : 0;
}

// The functions of one libyal library, each called the way they all are:
// status 1 is success, and an error object, when one is made, is freed here.
template <typename File, typename Error, auto file_initialize, auto file_free, auto file_open, int open_read,
          auto get_media_size, auto read_buffer_at_offset, auto parent_name_size, auto parent_name_utf8,
          auto set_parent_file, auto error_free>
struct libyal_library {
  using file_t = File;

  template <typename Call>
  static auto call(Call&& body) {
    return libyal_call<Error, error_free>(body);
  }
  static bool initialize(File** file) {
    return call([&](Error** error) { return file_initialize(file, error) == 1; });
  }
  static void free(File** file) {
    call([&](Error** error) { return file_free(file, error); });
  }
  static bool open(File* file, const std::string& path) {
    return call([&](Error** error) { return file_open(file, path.c_str(), open_read, error) == 1; });
  }
  static std::optional<uint64_t> media_size(File* file) {
    uint64_t size = 0;
    const bool ok = call([&](Error** error) { return get_media_size(file, &size, error) == 1; });
    return ok ? std::optional<uint64_t>(size) : std::nullopt;
  }
  static ssize_t read_at(File* file, uint8_t* buffer, size_t length, uint64_t offset) {
    return call([&](Error** error) { return read_buffer_at_offset(file, buffer, length, static_cast<off64_t>(offset), error); });
  }
  // The name the file gives for its parent; "" when it has none.
  static std::string parent_name(File* file) {
    size_t size = 0;
    if (!call([&](Error** error) { return parent_name_size(file, &size, error) == 1; }) || size <= 1) return "";
    std::string name(size, '\0');
    auto* bytes = reinterpret_cast<uint8_t*>(name.data());
    if (!call([&](Error** error) { return parent_name_utf8(file, bytes, size, error) == 1; })) return "";
    return name.substr(0, name.find('\0'));
  }
  static bool set_parent(File* child, File* parent) {
    return call([&](Error** error) { return set_parent_file(child, parent, error) == 1; });
  }
};

template <typename Lib>
class libyal_image final : public disk {
 public:
  using file_t = typename Lib::file_t;

  // Checks a file before the library reads it: "" when it is sound, else
  // what is wrong with it ("has ...").
  using layout_check = std::string (*)(const std::string& path);

  static container_opening open(const std::string& path, container_kind kind, layout_check check = nullptr) {
    std::unique_ptr<libyal_image> image(new libyal_image);
    image->m_check = check;
    container_opening opening;
    opening.fault = image->open_chain(path, kind);
    if (opening.fault.kind == container_fault_kind::none) opening.source = std::move(image);
    return opening;
  }

  ~libyal_image() override {
    // A child refers to its parent, so children go first.
    for (file_t*& file : m_chain) Lib::free(&file);
  }

  bool is_open() const override { return !m_chain.empty(); }
  uint64_t size() const override { return m_size; }
  uint64_t failed_reads() const override { return m_failed_reads; }

  size_t read(uint64_t offset, std::span<uint8_t> buffer) override {
    if (m_chain.empty()) return 0;
    return read_counted(offset, buffer, m_size, m_failed_reads, [this](uint8_t* data, size_t length, uint64_t at) {
      return Lib::read_at(m_chain.front(), data, length, at);
    });
  }

 private:
  libyal_image() = default;

  static std::string folder_of(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash + 1);
  }

  // A parent named "C:\VMs\base.vhd" or ".\base.vhd" on the machine that
  // made the child is looked for beside the child.
  static std::string parent_path(const std::string& child, const std::string& name) {
    if (name.starts_with('/')) return name;
    const size_t cut = name.find_last_of("\\/");
    return folder_of(child) + (cut == std::string::npos ? name : name.substr(cut + 1));
  }

  container_fault fault(container_fault_kind kind, container_kind format, const std::string& path,
                        std::string detail = {}, int error = 0) const {
    container_fault found{kind, format, path, std::move(detail), m_names, 0, error};
    return found;
  }

  container_fault open_chain(const std::string& path, container_kind kind) {
    std::vector<vk::file_identity> seen;
    std::string current = path;
    for (;;) {
      const std::optional<vk::file_identity> identity = vk::identity_of_path(current);
      m_names.push_back(current);
      if (identity && std::find(seen.begin(), seen.end(), *identity) != seen.end())
        return fault(container_fault_kind::chain_loop, kind, path);
      if (m_names.size() > max_backing_chain) return fault(container_fault_kind::chain_too_long, kind, path);
      if (identity) seen.push_back(*identity);
      if (m_check != nullptr) {
        const std::string problem = m_check(current);
        const std::string which = m_chain.empty() ? "it" : "its backing file " + current;
        if (!problem.empty()) return fault(container_fault_kind::unreadable, kind, path, which + " " + problem);
      }
      int error = 0;
      file_t* file = open_one(current, error);
      if (file == nullptr) {
        if (!m_chain.empty()) return fault(container_fault_kind::parent_missing, kind, path, current, error);
        if (error != 0) return fault(container_fault_kind::cannot_open, kind, path, {}, error);
        return fault(container_fault_kind::unreadable, kind, path);
      }
      if (!m_chain.empty() && !Lib::set_parent(m_chain.back(), file)) {
        Lib::free(&file);
        return fault(container_fault_kind::unreadable, kind, path);
      }
      m_chain.push_back(file);
      const std::string parent = Lib::parent_name(file);
      if (parent.empty()) break;
      current = parent_path(current, parent);
    }
    return finish(path, kind);
  }

  container_fault finish(const std::string& path, container_kind kind) {
    const std::optional<uint64_t> size = Lib::media_size(m_chain.front());
    if (!size) return fault(container_fault_kind::unreadable, kind, path);
    if (*size / 512 > max_disk_sectors) {
      container_fault found = fault(container_fault_kind::size_too_large, kind, path);
      found.size = *size;
      return found;
    }
    m_size = *size;
    return {};
  }

  // `error` is the system's reason when the file itself cannot be opened.
  static file_t* open_one(const std::string& path, int& error) {
    // The library opens the file itself, read-only.  Opening it here first
    // records its identity (the results file can never be it) and gives the
    // reason when it cannot be opened, which the library does not.
    vk::unique_fd probe = vk::open_source_file(path);
    error = probe.valid() ? 0 : errno;
    if (!probe.valid()) return nullptr;
    probe.reset();  // the library needs the descriptor
    file_t* file = nullptr;
    if (!Lib::initialize(&file)) return nullptr;
    if (Lib::open(file, path)) return file;
    Lib::free(&file);
    return nullptr;
  }

  layout_check m_check = nullptr;
  std::vector<file_t*> m_chain;  // newest first
  std::vector<std::string> m_names;
  uint64_t m_size = 0;
  uint64_t m_failed_reads = 0;
};
