#include "report/jsonl_writer.h"

#include "report/entry_fields.h"
#include "report/json_text.h"
#include "report/timeline_writer.h"
#include "support/types.h"
#include "support/vk_string.h"
#include "support/vk_time.h"

namespace {

constexpr uint16_t last_four_digit_year = 9999;
constexpr int filetime_hex_digits = 16;
constexpr uint64_t ticks_per_microsecond = 10;
constexpr int64_t microseconds_per_second = 1000000;

std::string index_source_of(const indx_entry& entry) {
  if (entry.attr_type == mft_format::type_index_allocation) return "allocation";
  if (entry.attr_type == mft_format::type_index_root) return "root";
  return "unknown";
}

// The members that are the same on every line of the entry.
void add_entry_members(json_object& line, const indx_entry& entry, const std::string& directory,
                       const std::string& evidence) {
  line.number("offset", entry.offset.bytes);
  if (entry_number_missing(entry)) {
    line.null("mft_entry");
  } else {
    line.number("mft_entry", mft_entry_of(entry.file_ref));
  }
  line.number("mft_sequence", mft_sequence_of(entry.file_ref))
      .number("parent_entry", mft_entry_of(entry.parent_ref()))
      .number("parent_sequence", mft_sequence_of(entry.parent_ref()))
      .text("entry_type", validity_word(entry))
      .text("annotation", entry.annotation)
      .text("file_type", entry.is_dir ? "dir" : "file")
      .number("size_allocated", entry.alloc_size())
      .number("size_used", entry.real_size())
      .number("flags", entry.attr_flags())
      .text("flags_text", attr_flags_text(entry.attr_flags()))
      .text("name", vk::display_name(entry.name))
      .text("directory", directory)
      .text("index_source", index_source_of(entry))
      .text("evidence", evidence);
}

}  // namespace

json_time json_time_of(uint64_t filetime) {
  const vk::time value(filetime, vk::type_time::filetime);
  json_time result;
  if (!value.valid() || value.systemtime().wYear > last_four_digit_year) return result;
  const vk::_windows_systemtime& st = value.systemtime();
  result.valid = true;
  result.datetime = vk::dec(st.wYear, 4) + "-" + vk::dec(st.wMonth, 2) + "-" + vk::dec(st.wDay, 2) + "T" +
                    vk::dec(st.wHour, 2) + ":" + vk::dec(st.wMinute, 2) + ":" + vk::dec(st.wSecond, 2) + "." +
                    vk::dec(filetime % vk::filetime_ticks_per_second, 7) + "Z";
  result.microseconds = value.unix_seconds() * microseconds_per_second +
                        static_cast<int64_t>(filetime % vk::filetime_ticks_per_second / ticks_per_microsecond);
  return result;
}

std::string jsonl_lines(const indx_entry& entry, const std::string& directory, const std::string& evidence,
                        const report_options& options) {
  const std::string full_name = full_name_of(entry, directory);
  const std::string message = full_name + " (" + validity_text(entry) + ")";
  std::string lines;
  for (const timestamp_group& group :
       timestamp_groups({entry.modified(), entry.accessed(), entry.mft_changed(), entry.created()})) {
    const json_time time = json_time_of(group.value);
    json_object line;
    line.text("message", message)
        .text("datetime", time.datetime)
        .signed_number("timestamp", time.microseconds)
        .text("timestamp_desc", group.labels)
        .boolean("time_valid", time.valid)
        .text("filetime", "0x" + vk::hex(group.value, filetime_hex_digits))
        .text("macb", group.macb);
    add_entry_members(line, entry, directory, evidence);
    if (!options.username.empty()) line.text("username", options.username);
    if (!options.hostname.empty()) line.text("hostname", options.hostname);
    lines += line.finish();
  }
  return lines;
}
