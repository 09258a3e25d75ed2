// Hand-built index entries and output capture shared by the report tests.
#pragma once

#include <cstdio>
#include <unistd.h>

#include <functional>
#include <string>

#include "indx/indx_entry.h"
#include "support/output_sink.h"
#include "support/types.h"
#include "support/vk_time.h"

namespace report_test {

// 2023-06-05 14:03:07.1234567 UTC.
inline uint64_t sample_time() {
  return vk::filetime_from_date(2023, 6, 5) + (14 * 3600 + 3 * 60 + 7) * vk::filetime_ticks_per_second + 1234567;
}
inline uint64_t seconds_later(uint64_t filetime, uint64_t seconds) {
  return filetime + seconds * vk::filetime_ticks_per_second;
}

inline void set_key_u64(indx_entry& entry, size_t offset, uint64_t value) {
  for (size_t i = 0; i < 8; ++i) entry.key[offset + i] = static_cast<uint8_t>(value >> (8 * i));
}

inline void set_times(indx_entry& entry, uint64_t modified, uint64_t accessed, uint64_t changed, uint64_t created) {
  set_key_u64(entry, file_name_format::modified, modified);
  set_key_u64(entry, file_name_format::accessed, accessed);
  set_key_u64(entry, file_name_format::mft_changed, changed);
  set_key_u64(entry, file_name_format::created, created);
}

inline void set_flags(indx_entry& entry, uint32_t flags) {
  for (size_t i = 0; i < 4; ++i) entry.key[file_name_format::attr_flags + i] = static_cast<uint8_t>(flags >> (8 * i));
}

// A valid file "report.docx", entry 0x1234 sequence 3, in directory 0x40
// sequence 2, at offset 0x58 of an INDX record; its four times lie 10 s apart.
inline indx_entry sample_file() {
  indx_entry entry;
  entry.name = "report.docx";
  entry.file_ref = make_mft_ref(0x1234, 3);
  set_key_u64(entry, file_name_format::parent_ref, make_mft_ref(0x40, 2));
  const uint64_t t = sample_time();
  set_times(entry, t, seconds_later(t, 10), seconds_later(t, 20), seconds_later(t, 30));
  set_key_u64(entry, file_name_format::alloc_size, 0x1000);
  set_key_u64(entry, file_name_format::real_size, 0xabc);
  set_flags(entry, 0x20);
  entry.is_valid = true;
  entry.offset = 0x58;
  entry.size = indx_format::entry_span(11);
  entry.attr_type = mft_format::type_index_allocation;
  return entry;
}

// A slack directory "old dir" of the index root, entry 0x77 sequence 1.
inline indx_entry sample_slack_dir() {
  indx_entry entry = sample_file();
  entry.name = "old dir";
  entry.file_ref = make_mft_ref(0x77, 1);
  set_flags(entry, 0x10000000);
  entry.is_dir = true;
  entry.is_valid = false;
  entry.annotation = "deleted";
  entry.offset = 0x1a0;
  entry.size = indx_format::entry_span(7);
  entry.attr_type = mft_format::type_index_root;
  return entry;
}

// Everything `body` writes to a sink, as the file behind the sink received it.
inline std::string capture_output(const std::function<void(vk::output_sink&)>& body) {
  std::FILE* file = std::tmpfile();
  if (!file) return "<no temporary file>";
  {
    vk::output_sink out(vk::unique_fd(::dup(fileno(file))));
    body(out);
  }
  std::rewind(file);
  std::string text;
  char buffer[4096];
  for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, file)) > 0;) text.append(buffer, n);
  std::fclose(file);
  return text;
}

}  // namespace report_test
