// slix's E01 reader against libewf on arbitrary segment sets: both open the
// same files, and wherever both serve bytes they must be the same bytes (and
// the media the same size); slix's reader may refuse a set or a chunk, which
// then goes to libewf.  The first byte picks how many segment files the rest
// holds (1 to 3); each but the last is preceded by its length, a u32
// little-endian, clipped to what remains.  The files are x.E01, x.E02, x.E03.
// With the first byte's top bit set, every checksum the reader checks is
// made right before the files are written (section descriptors, the volume
// section, table headers and entries), so that mutations reach the chain,
// volume and table logic instead of stopping at a checksum.
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#if __has_include(<libdeflate.h>)
#include <libdeflate.h>
#define SLIX_FUZZ_CAN_SEAL 1
#endif

#include "disk/ewf_format.h"
#include "disk/ewf_reader.h"

namespace {

const std::string& work_folder() {
  static const std::string folder = [] {
    char pattern[] = "/tmp/slix-ewf-fuzz-XXXXXX";
    const char* made = ::mkdtemp(pattern);
    return std::string(made != nullptr ? made : "/tmp");
  }();
  return folder;
}

std::string segment_name(size_t index) { return work_folder() + "/x.E0" + std::to_string(index + 1); }

namespace fmt = ewf_format;

uint64_t get_le(const std::vector<uint8_t>& bytes, uint64_t at, int width) {
  uint64_t value = 0;
  for (int i = width - 1; i >= 0; --i) value = value << 8 | bytes[at + static_cast<uint64_t>(i)];
  return value;
}

// Sets the Adler-32 of [from, at) into the u32 at `at`, when the file holds it.
void seal(std::vector<uint8_t>& bytes, uint64_t from, uint64_t at) {
  if (at > bytes.size() || bytes.size() - at < 4 || from > at) return;
#ifdef SLIX_FUZZ_CAN_SEAL
  const uint32_t sum = libdeflate_adler32(1, bytes.data() + from, at - from);
#else
  const uint32_t sum = 0;  // slix's reader is not built without libdeflate
#endif
  for (int i = 0; i < 4; ++i) bytes[at + static_cast<uint64_t>(i)] = static_cast<uint8_t>(sum >> (8 * i));
}

void seal_segment(std::vector<uint8_t>& bytes) {
  for (uint64_t at = fmt::file_header_size; at <= bytes.size() && bytes.size() - at >= fmt::descriptor_size;) {
    seal(bytes, at, at + fmt::section_checksum);
    const std::string type(reinterpret_cast<const char*>(&bytes[at]),
                           strnlen(reinterpret_cast<const char*>(&bytes[at]), fmt::section_type_size));
    const uint64_t data = at + fmt::descriptor_size;
    if (type == "volume" || type == "disk") seal(bytes, data, data + fmt::volume_checksum);
    if ((type == "table" || type == "table2") && data + fmt::table_header_size <= bytes.size()) {
      seal(bytes, data, data + fmt::table_header_checksum);
      const uint64_t entries = data + fmt::table_header_size;
      const uint64_t end = entries + get_le(bytes, data + fmt::table_entry_count, 4) * fmt::table_entry_size;
      if (end <= bytes.size()) seal(bytes, entries, end);
    }
    const uint64_t next = get_le(bytes, at + fmt::section_next, 8);
    if (next <= at) break;
    at = next;
  }
}

// Writes the segments the input holds; returns how many.
size_t write_segments(const uint8_t* data, size_t size) {
  const size_t count = data[0] % 3 + 1;
  const bool sealed = (data[0] & 0x80) != 0;
  size_t at = 1;
  for (size_t i = 0; i < count; ++i) {
    size_t length = size - at;
    if (i + 1 < count && size - at >= 4) {
      const uint32_t stated = uint32_t{data[at]} | uint32_t{data[at + 1]} << 8 | uint32_t{data[at + 2]} << 16 |
                              uint32_t{data[at + 3]} << 24;
      at += 4;
      length = std::min<size_t>(stated, size - at);
    } else if (i + 1 < count) {
      length = 0;
    }
    std::vector<uint8_t> segment(data + at, data + at + length);
    if (sealed) seal_segment(segment);
    std::ofstream(segment_name(i), std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(segment.data()), static_cast<std::streamsize>(segment.size()));
    at += length;
  }
  return count;
}

// Reads the same pieces through both; a difference is a fault of slix's reader.
void compare(disk& reference, disk& own) {
  if (reference.size() != own.size()) std::abort();
  const uint64_t size = reference.size();
  std::vector<uint8_t> expected(40000), got(expected.size());
  for (uint64_t piece = 0; piece < 16; ++piece) {
    const uint64_t at = size / 16 * piece + piece * 977 % std::max<uint64_t>(size / 16, 1);
    const size_t wanted = reference.read(at, expected);
    if (wanted == 0 || own.read(at, got) != wanted) continue;
    if (!std::equal(got.begin(), got.begin() + static_cast<std::ptrdiff_t>(wanted), expected.begin())) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const size_t count = write_segments(data, size);
  {
    container_opening own = open_ewf_image_with(segment_name(0), ewf_engine::slix);
    if (own.source) {
      container_opening reference = open_ewf_image_with(segment_name(0), ewf_engine::libewf);
      if (reference.source) compare(*reference.source, *own.source);
    }
  }
  for (size_t i = 0; i < count; ++i) ::unlink(segment_name(i).c_str());
  return 0;
}
