// E01 (EWF) segment sets.  The segments are found from the first one by
// libewf's naming scheme (.E01, .E02, ...), and each is checked before
// reading: a set with a hole is refused with the missing segment's name, a
// cut-short segment is reported, and segments whose own numbers disagree with
// their names are reported (they are read by their numbers).  A set slix's
// own reader validates whole (ewf_reader.h) is read by it, one descriptor a
// segment; libewf reads the rest, and any chunk that reader cannot trust.
#include "disk/ewf_reader.h"
#include "disk/image_formats.h"

#if SLIX_HAVE_LIBEWF
#include <libewf.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>
#include <vector>

#include "disk/container_format.h"
#include "disk/ewf_reader.h"
#include "disk/ewf_segments.h"
#include "disk/image_disk.h"
#include "disk/libyal_image.h"
#include "support/le_reader.h"
#include "support/run_log.h"

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
// left to libewf.)  The segments are left open in `files`.
container_fault check_segments(const std::string& path, const std::vector<std::string>& segments,
                               std::vector<source_warning>& warnings, std::vector<std::unique_ptr<image_disk>>& files) {
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
  explicit ewf_disk(ewf_engine engine) : m_engine(engine) {}
  ~ewf_disk() override { close_libewf(); }
  ewf_disk(const ewf_disk&) = delete;
  ewf_disk& operator=(const ewf_disk&) = delete;

  container_fault open(const std::string& path) {
    m_segment_names = glob_segments(path);
    if (m_segment_names.empty()) return unreadable(path);
    if (const container_fault hole = check_segments(path, m_segment_names, m_warnings, m_files);
        hole.kind != container_fault_kind::none)
      return hole;
    if (m_engine != ewf_engine::libewf && open_own_reader(path)) return check_size(path, m_reader->size());
    m_files.clear();  // libewf opens the segments itself
    if (m_engine == ewf_engine::slix) return unreadable(path);
    if (!open_libewf() || !chunk_size_is_sane()) return unreadable(path);
    size64_t size = 0;
    if (!ewf_call([&](libewf_error_t** error) { return libewf_handle_get_media_size(m_handle, &size, error) == 1; }))
      return unreadable(path);
    return check_size(path, size);
  }

  bool is_open() const override { return m_reader != nullptr || m_handle != nullptr; }
  uint64_t size() const override { return m_size; }
  std::vector<source_warning> warnings() const override { return m_warnings; }
  uint64_t failed_reads() const override { return m_failed_reads; }

  size_t read(uint64_t offset, std::span<uint8_t> buffer) override {
    if (m_reader == nullptr) {
      if (m_handle == nullptr) return 0;
      return read_counted(offset, buffer, m_size, m_failed_reads,
                          [this](uint8_t* data, size_t length, uint64_t at) { return libewf_read_at(data, length, at); });
    }
    if (offset >= m_size) return 0;
    const size_t wanted = static_cast<size_t>(std::min<uint64_t>(buffer.size(), m_size - offset));
    size_t done = 0;
    while (done < wanted && read_part(offset + done, buffer.subspan(done, wanted - done), done)) {
    }
    if (done < wanted) ++m_failed_reads;
    return done;
  }

 private:
  // A chunk inflated for a read that wants only part of it, kept for the
  // reads after it: records and index blocks are read a few KiB at a time.
  struct cached_chunk {
    uint64_t index = UINT64_MAX;
    std::vector<uint8_t> bytes;
  };
  static constexpr size_t cache_slots = 4;

  bool open_own_reader(const std::string& path) {
    std::vector<disk*> files;
    for (const auto& file : m_files) files.push_back(file.get());
    std::string refusal;
    m_reader = ewf_reader::open(files, refusal);
    if (m_reader == nullptr)
      vk::log_line("info: E01 %s: slix's reader refuses the set (%s), libewf reads it", path.c_str(), refusal.c_str());
    else
      vk::log_line("info: E01 %s: read by slix's reader", path.c_str());
    return m_reader != nullptr;
  }

  container_fault check_size(const std::string& path, uint64_t size) {
    if (size / 512 > max_disk_sectors)
      return {container_fault_kind::size_too_large, container_kind::ewf, path, {}, {}, size, 0};
    m_size = size;
    return {};
  }

  // Reads the part of `buffer` that lies in the chunk holding `at`; adds the
  // bytes read to `done`; false when the chunk cannot be read.
  bool read_part(uint64_t at, std::span<uint8_t> buffer, size_t& done) {
    const uint64_t chunk_size = m_reader->chunk_size();
    const uint64_t index = at / chunk_size;
    const uint64_t in_chunk = at % chunk_size;
    const uint64_t bytes = m_reader->chunk_bytes(index);
    const size_t take = static_cast<size_t>(std::min<uint64_t>(buffer.size(), bytes - in_chunk));
    if (in_chunk == 0 && take == bytes) {
      if (!read_chunk(index, buffer.first(take))) return false;
    } else if (!in_cache(index) && m_reader->read_checked_part(index, in_chunk, buffer.first(take))) {
      // A stored chunk checked before: only the bytes wanted are read.
    } else {
      const cached_chunk* cached = chunk_in_cache(index);
      if (cached == nullptr) return false;
      std::copy_n(cached->bytes.begin() + static_cast<std::ptrdiff_t>(in_chunk), take, buffer.begin());
    }
    done += take;
    return true;
  }

  bool in_cache(uint64_t index) const {
    return std::any_of(m_cache.begin(), m_cache.end(), [index](const cached_chunk& slot) { return slot.index == index; });
  }

  const cached_chunk* chunk_in_cache(uint64_t index) {
    for (const cached_chunk& slot : m_cache)
      if (slot.index == index) return &slot;
    cached_chunk& slot = m_cache[m_next_slot];
    m_next_slot = (m_next_slot + 1) % cache_slots;
    slot.index = UINT64_MAX;
    slot.bytes.resize(m_reader->chunk_bytes(index));
    if (!read_chunk(index, slot.bytes)) return nullptr;
    slot.index = index;
    return &slot;
  }

  // A chunk the reader cannot trust is read by libewf, as the whole set was
  // before slix had its own reader.
  bool read_chunk(uint64_t index, std::span<uint8_t> out) {
    return m_reader->read_chunk(index, out) || read_untrusted_chunk(index, out);
  }

  bool read_untrusted_chunk(uint64_t index, std::span<uint8_t> out) {
    if (m_engine == ewf_engine::slix) return false;
    vk::log_line("info: E01 chunk %llu: slix's reader cannot trust it, libewf reads it",
                 static_cast<unsigned long long>(index));
    if (m_handle == nullptr && !open_libewf()) return false;
    const ssize_t got = libewf_read_at(out.data(), out.size(), index * m_reader->chunk_size());
    return got == static_cast<ssize_t>(out.size());
  }

  ssize_t libewf_read_at(uint8_t* data, size_t length, uint64_t at) {
    return ewf_call([&](libewf_error_t** error) {
      return libewf_handle_read_random(m_handle, data, length, static_cast<off64_t>(at), error);
    });
  }

  bool open_libewf() {
    std::vector<char*> names;
    for (const std::string& name : m_segment_names) names.push_back(const_cast<char*>(name.c_str()));
    const bool opened = ewf_call([&](libewf_error_t** error) {
      return libewf_handle_initialize(&m_handle, error) == 1 &&
             libewf_handle_open(m_handle, names.data(), static_cast<int>(names.size()), LIBEWF_OPEN_READ, error) == 1;
    });
    if (!opened) close_libewf();
    return opened;
  }

  void close_libewf() {
    if (m_handle == nullptr) return;
    ewf_call([&](libewf_error_t** error) { return libewf_handle_close(m_handle, error); });
    ewf_call([&](libewf_error_t** error) { return libewf_handle_free(&m_handle, error); });
    m_handle = nullptr;
  }

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

  ewf_engine m_engine;
  std::vector<std::string> m_segment_names;
  std::vector<std::unique_ptr<image_disk>> m_files;  // the segments, while slix's reader reads them
  std::unique_ptr<ewf_reader> m_reader;
  std::array<cached_chunk, cache_slots> m_cache;
  size_t m_next_slot = 0;
  libewf_handle_t* m_handle = nullptr;
  uint64_t m_size = 0;
  uint64_t m_failed_reads = 0;
  std::vector<source_warning> m_warnings;
};

}  // namespace

container_opening open_ewf_image_with(const std::string& path, ewf_engine engine) {
  auto image = std::make_unique<ewf_disk>(engine);
  container_opening opening;
  opening.fault = image->open(path);
  if (opening.fault.kind == container_fault_kind::none) opening.source = std::move(image);
  return opening;
}

#else

container_opening open_ewf_image_with(const std::string& path, ewf_engine) {
  return library_missing(path, container_kind::ewf);
}

#endif

container_opening open_ewf_image(const std::string& path) { return open_ewf_image_with(path, ewf_engine::automatic); }
