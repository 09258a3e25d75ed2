#include "report/jsonl_writer.h"

#include "report/entry_fields.h"
#include "report/json_text.h"
#include "support/number_text.h"
#include "report/timeline_writer.h"
#include "support/types.h"
#include "support/vk_string.h"
#include "support/vk_time.h"

namespace {

constexpr uint16_t last_four_digit_year = 9999;
constexpr int filetime_hex_digits = 16;
constexpr int fraction_digits = 7;
constexpr uint64_t ticks_per_microsecond = 10;
constexpr int64_t microseconds_per_second = 1000000;

std::string_view index_source_of(const indx_entry& entry) {
  if (entry.attr_type == mft_format::type_index_allocation) return "allocation";
  if (entry.attr_type == mft_format::type_index_root) return "root";
  return "unknown";
}

// The datetime text of a whole second: "2026-11-22T11:10:21.", to which the
// seven fraction digits and "Z" are added.
std::string second_text(const vk::_windows_systemtime& st) {
  std::string text;
  vk::append_dec(text, st.wYear, 4);
  text += '-';
  vk::append_dec(text, st.wMonth, 2);
  text += '-';
  vk::append_dec(text, st.wDay, 2);
  text += 'T';
  vk::append_dec(text, st.wHour, 2);
  text += ':';
  vk::append_dec(text, st.wMinute, 2);
  text += ':';
  vk::append_dec(text, st.wSecond, 2);
  text += '.';
  return text;
}

}  // namespace

json_time json_time_of(uint64_t filetime) {
  const vk::time value(filetime, vk::type_time::filetime);
  json_time result;
  if (!value.valid() || value.systemtime().wYear > last_four_digit_year) return result;
  const uint64_t fraction = filetime % vk::filetime_ticks_per_second;
  result.valid = true;
  result.datetime = second_text(value.systemtime());
  vk::append_dec(result.datetime, fraction, fraction_digits);
  result.datetime += 'Z';
  result.microseconds =
      value.unix_seconds() * microseconds_per_second + static_cast<int64_t>(fraction / ticks_per_microsecond);
  return result;
}

const json_time& jsonl_writer::time_of(uint64_t filetime) {
  const uint64_t second = filetime / vk::filetime_ticks_per_second;
  if (second != m_second || !m_time.valid) {
    m_time = json_time_of(filetime);
    m_second = second;
    return m_time;
  }
  // Same second: only the fraction and the microseconds change.
  const uint64_t fraction = filetime % vk::filetime_ticks_per_second;
  const size_t fraction_at = m_time.datetime.size() - fraction_digits - 1;
  m_time.datetime.resize(fraction_at);
  vk::append_dec(m_time.datetime, fraction, fraction_digits);
  m_time.datetime += 'Z';
  const int64_t unix_second = static_cast<int64_t>(second) -
                              static_cast<int64_t>(vk::filetime_unix_epoch / vk::filetime_ticks_per_second);
  m_time.microseconds =
      unix_second * microseconds_per_second + static_cast<int64_t>(fraction / ticks_per_microsecond);
  return m_time;
}

void jsonl_writer::add_entry_members(json_object& line, const indx_entry& entry, const std::string& directory,
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
      .text("flags_text", m_flags_text.text_of(entry.attr_flags()))
      .text("name", std::string_view(m_name).substr(directory.size()))
      .text("directory", directory)
      .text("index_source", index_source_of(entry))
      .text("evidence", evidence);
}

std::string_view jsonl_writer::lines(const indx_entry& entry, const std::string& directory,
                                     const std::string& evidence) {
  m_name.assign(directory);
  vk::append_display_name(m_name, entry.name);
  m_message.assign(m_name);
  m_message += " (";
  append_validity_text(m_message, entry);
  m_message += ')';
  m_lines.clear();
  for (const timestamp_group& group :
       timestamp_groups({entry.modified(), entry.accessed(), entry.mft_changed(), entry.created()})) {
    const json_time& time = time_of(group.value);
    json_object line(m_lines);
    line.text("message", m_message)
        .text("datetime", time.datetime)
        .signed_number("timestamp", time.microseconds)
        .text("timestamp_desc", group.labels())
        .boolean("time_valid", time.valid)
        .text("filetime", vk::number_text::hex(group.value, filetime_hex_digits).prefixed("0x").view())
        .text("macb", group.macb());
    add_entry_members(line, entry, directory, evidence);
    if (!m_options.username.empty()) line.text("username", m_options.username);
    if (!m_options.hostname.empty()) line.text("hostname", m_options.hostname);
    line.finish();
  }
  return m_lines;
}
