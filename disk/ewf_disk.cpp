// E01 (EWF) segment sets, read with libewf.  The segments are found from the
// first one by libewf's naming scheme (.E01, .E02, ...), and each is checked
// before reading: a set with a hole is refused with the missing segment's
// name, a cut-short segment is reported, and segments whose own numbers
// disagree with their names are reported (they are read by their numbers).
#include "disk/image_formats.h"

#if SLIX_HAVE_LIBEWF
#include <libewf.h>

#include <algorithm>
#include <memory>
#include <string_view>
#include <vector>

#include "disk/container_format.h"
#include "disk/ewf_segments.h"
#include "disk/image_disk.h"
#include "disk/libyal_image.h"
#include "support/le_reader.h"

namespace {

template <typename Call>
auto ewf_call(Call&& body) {
  return libyal_call<libewf_error_t, libewf_error_free>(body);
}

size_t read_segment(void* context, uint64_t offset, std::span<uint8_t> buffer) {
  return static_cast<image_disk*>(context)->read(offset, buffer);
}

// The segment file names libewf finds from the first one, in set order.
std::vector<std::string> glob_segments(const std::string& first) {
  char** names = nullptr;
  int count = 0;
  const bool ok = ewf_call([&](libewf_error_t** error) {
    return libewf_glob(first.c_str(), first.size(), LIBEWF_FORMAT_UNKNOWN, &names, &count, error) == 1;
  });
  std::vector<std::string> found;
  if (!ok) return found;
  for (int i = 0; i < count; ++i) found.emplace_back(names[i]);
  ewf_call([&](libewf_error_t** error) { return libewf_glob_free(names, count, error); });
  return found;
}

bool starts_with(image_disk& file, std::string_view signature) {
  std::vector<uint8_t> head(signature.size());
  return file.read_exact(0, head) && vk::has_bytes_at(head, 0, signature);
}

// Opens every segment through image_disk, which records it as a source.
// libewf holds every segment open at once, so they are held together here
// too: a set with more segments than the process may open is named at the
// first segment the system refuses, rather than failing inside libewf.
container_fault open_segments(const std::string& path, const std::vector<std::string>& segments,
                              std::vector<std::unique_ptr<image_disk>>& files) {
  for (size_t i = 0; i < segments.size(); ++i) {
    files.push_back(std::make_unique<image_disk>(segments[i]));
    if (!files.back()->is_open())
      return {container_fault_kind::cannot_open, container_kind::ewf, path, i == 0 ? "" : segments[i], {}, 0,
              files.back()->open_error()};
  }
  return {};
}

// Walks every segment's sections; the set must end with a "done" section.
// (Ex01 sets keep their section descriptors the other way round and are
// left to libewf.)
container_fault check_segments(const std::string& path, const std::vector<std::string>& segments,
                               std::vector<source_warning>& warnings) {
  std::vector<std::unique_ptr<image_disk>> files;
  if (const container_fault fault = open_segments(path, segments, files); fault.kind != container_fault_kind::none)
    return fault;
  segment_end last_end = segment_end::done;
  for (size_t i = 0; i < segments.size(); ++i) {
    image_disk& file = *files[i];
    if (!starts_with(file, container_format::ewf1_signature)) return {};
    const segment_check check = check_ewf_segment(file.size(), read_segment, &file);
    if (check.number != i + 1)
      warnings.push_back({source_warning_kind::segment_out_of_order, segments[i], check.number});
    if (check.end == segment_end::damaged)
      return {container_fault_kind::unreadable, container_kind::ewf, path,
              (i == 0 ? std::string("it") : "its segment " + segments[i]) +
                  " has a chunk table that places chunks outside the file or makes them larger than any chunk",
              {}, 0, 0};
    if (check.end == segment_end::truncated)
      warnings.push_back({source_warning_kind::truncated_segment, segments[i], 0});
    last_end = check.end;
  }
  if (last_end != segment_end::next) return {};
  const std::string missing = next_segment_name(segments.back());
  return {container_fault_kind::missing_segment, container_kind::ewf, path,
          missing.empty() ? "the one after " + segments.back() : missing, {}, 0, 0};
}

class ewf_disk final : public disk {
 public:
  ~ewf_disk() override {
    if (m_handle == nullptr) return;
    ewf_call([&](libewf_error_t** error) { return libewf_handle_close(m_handle, error); });
    ewf_call([&](libewf_error_t** error) { return libewf_handle_free(&m_handle, error); });
  }

  container_fault open(const std::string& path) {
    const std::vector<std::string> segments = glob_segments(path);
    if (segments.empty()) return unreadable(path);
    if (const container_fault hole = check_segments(path, segments, m_warnings);
        hole.kind != container_fault_kind::none)
      return hole;
    std::vector<char*> names;
    for (const std::string& name : segments) names.push_back(const_cast<char*>(name.c_str()));
    const bool opened = ewf_call([&](libewf_error_t** error) {
      return libewf_handle_initialize(&m_handle, error) == 1 &&
             libewf_handle_open(m_handle, names.data(), static_cast<int>(names.size()), LIBEWF_OPEN_READ, error) == 1;
    });
    size64_t size = 0;
    if (!opened || !ewf_call([&](libewf_error_t** error) { return libewf_handle_get_media_size(m_handle, &size, error) == 1; }))
      return unreadable(path);
    if (!chunk_size_is_sane()) return unreadable(path);
    if (size / 512 > max_disk_sectors)
      return {container_fault_kind::size_too_large, container_kind::ewf, path, {}, {}, size, 0};
    m_size = size;
    return {};
  }

  bool is_open() const override { return m_handle != nullptr; }
  uint64_t size() const override { return m_size; }
  std::vector<source_warning> warnings() const override { return m_warnings; }
  uint64_t failed_reads() const override { return m_failed_reads; }

  size_t read(uint64_t offset, std::span<uint8_t> buffer) override {
    if (m_handle == nullptr) return 0;
    return read_counted(offset, buffer, m_size, m_failed_reads, [this](uint8_t* data, size_t length, uint64_t at) {
      return ewf_call([&](libewf_error_t** error) {
        return libewf_handle_read_random(m_handle, data, length, static_cast<off64_t>(at), error);
      });
    });
  }

 private:
  bool chunk_size_is_sane() const {
    uint32_t sectors = 0, sector_bytes = 0;
    const bool known = ewf_call([&](libewf_error_t** error) {
      return libewf_handle_get_sectors_per_chunk(m_handle, &sectors, error) == 1 &&
             libewf_handle_get_bytes_per_sector(m_handle, &sector_bytes, error) == 1;
    });
    return known && uint64_t{sectors} * sector_bytes <= ewf_format::max_chunk_bytes;
  }

  static container_fault unreadable(const std::string& path) {
    return {container_fault_kind::unreadable, container_kind::ewf, path, {}, {}, 0, 0};
  }

  libewf_handle_t* m_handle = nullptr;
  uint64_t m_size = 0;
  uint64_t m_failed_reads = 0;
  std::vector<source_warning> m_warnings;
};

}  // namespace

container_opening open_ewf_image(const std::string& path) {
  auto image = std::make_unique<ewf_disk>();
  container_opening opening;
  opening.fault = image->open(path);
  if (opening.fault.kind == container_fault_kind::none) opening.source = std::move(image);
  return opening;
}

#else

container_opening open_ewf_image(const std::string& path) { return library_missing(path, container_kind::ewf); }

#endif
