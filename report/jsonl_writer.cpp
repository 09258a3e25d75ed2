#include "report/jsonl_writer.h"

#include <array>
#include <utility>

#include "report/entry_fields.h"
#include "report/json_text.h"
#include "report/timeline_writer.h"
#include "support/number_text.h"
#include "support/types.h"
#include "support/vk_string.h"
#include "support/vk_time.h"

namespace {

constexpr uint16_t last_four_digit_year = 9999;
constexpr int filetime_hex_digits = 16;
constexpr int fraction_digits = 7;
constexpr uint64_t ticks_per_microsecond = 10;
constexpr int64_t microseconds_per_second = 1000000;

// The datetime text of a whole second: "2026-11-22T11:10:21.", to which the
// seven fraction digits and "Z" are added.  Years run from 1601 to 9999, so
// every part is two digits but the year, which is four.
std::string second_text(const vk::_windows_systemtime& st) {
  std::string text;
  const std::array<std::pair<uint16_t, char>, 6> parts{
      {{st.wYear, '-'}, {st.wMonth, '-'}, {st.wDay, 'T'}, {st.wHour, ':'}, {st.wMinute, ':'}, {st.wSecond, '.'}}};
  for (const auto& [value, follower] : parts) {
    vk::append_dec(text, value, 2);
    text += follower;
  }
  return text;
}

// Puts the fraction of `filetime` and "Z" after the whole-second text, and
// the microseconds since 1970 of `unix_second` and that fraction.
void set_fraction(json_time& time, uint64_t filetime, int64_t unix_second) {
  const uint64_t fraction = filetime % vk::filetime_ticks_per_second;
  vk::append_dec(time.datetime, fraction, fraction_digits);
  time.datetime += 'Z';
  time.microseconds = unix_second * microseconds_per_second + static_cast<int64_t>(fraction / ticks_per_microsecond);
}

}  // namespace

json_time json_time_of(uint64_t filetime) {
  const vk::time value(filetime, vk::type_time::filetime);
  json_time result;
  if (!value.valid() || value.systemtime().wYear > last_four_digit_year) return result;
  result.valid = true;
  result.datetime = second_text(value.systemtime());
  set_fraction(result, filetime, value.unix_seconds());
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
  m_time.datetime.resize(m_time.datetime.size() - fraction_digits - 1);
  const int64_t unix_second = static_cast<int64_t>(second) -
                              static_cast<int64_t>(vk::filetime_unix_epoch / vk::filetime_ticks_per_second);
  set_fraction(m_time, filetime, unix_second);
  return m_time;
}

void jsonl_writer::add_entry_members(json_object& line, const indx_entry& entry) {
  line.number("offset", entry.offset.bytes);
  if (entry_number_missing(entry)) {
    line.null("mft_entry");
  } else {
    line.number("mft_entry", mft_entry_of(entry.file_ref));
  }
  line.number("mft_sequence", mft_sequence_of(entry.file_ref))
      .number("parent_entry", mft_entry_of(entry.parent_ref()))
      .number("parent_sequence", mft_sequence_of(entry.parent_ref()))
      .word("entry_type", validity_word(entry))
      .text("annotation", entry.annotation)
      .word("file_type", entry.is_dir ? "dir" : "file")
      .number("size_allocated", entry.alloc_size())
      .number("size_used", entry.real_size())
      .number("flags", entry.attr_flags())
      .word("flags_text", m_flags_text.text_of(entry.attr_flags()))
      .json_string("name", m_name_json)
      .json_string("directory", m_directory_json.json)
      .word("index_source", index_source_word(entry.source))
      .json_string("evidence", m_evidence_json.json);
}

// mft_state, mft_record_entry, mft_record_sequence, current_path: null
// where they do not apply.
void jsonl_writer::add_mft_state_members(json_object& line, const mft_state_info* state) {
  const mft_state_info none;
  const mft_state_info& shown = state != nullptr ? *state : none;
  line.word("mft_state", mft_state_word(shown.state));
  if (shown.state == mft_state::unknown) {
    line.null("mft_record_entry").null("mft_record_sequence");
  } else {
    line.number("mft_record_entry", mft_entry_of(shown.record)).number("mft_record_sequence", mft_sequence_of(shown.record));
  }
  if (shown.state == mft_state::moved) {
    line.text("current_path", shown.current_path);
  } else {
    line.null("current_path");
  }
}

const std::string& jsonl_writer::escaped_text::of(const std::string& text) {
  if (json.empty() || text != source) {
    source = text;
    json.clear();
    append_json_string(json, text);
  }
  return json;
}

// The message is the directory, the name and the validity.  The directory
// and the name are escaped once each; a directory that ends in an ASCII byte
// (its separator) escapes the same alone as in the message.
void jsonl_writer::escape_texts(const indx_entry& entry, const std::string& directory, const std::string& evidence) {
  m_directory_json.of(directory);
  m_evidence_json.of(evidence);
  m_name.clear();
  vk::append_display_name(m_name, entry.name);
  m_name_json.clear();
  append_json_string(m_name_json, m_name);
  m_validity.assign(" (");
  append_validity_text(m_validity, entry);
  m_validity += ')';
  m_message_json.clear();
  if (directory.empty() || static_cast<unsigned char>(directory.back()) < 0x80) {
    m_message_json.append(std::string_view(m_directory_json.json).substr(0, m_directory_json.json.size() - 1));
    m_message_json.append(std::string_view(m_name_json).substr(1, m_name_json.size() - 2));
  } else {
    m_message_json.push_back('"');
    append_json_characters(m_message_json, directory + m_name);
  }
  append_json_characters(m_message_json, m_validity);
  m_message_json.push_back('"');
}

std::string_view jsonl_writer::lines(const indx_entry& entry, const std::string& directory,
                                     const std::string& evidence, const mft_state_info* state) {
  escape_texts(entry, directory, evidence);
  m_lines.clear();
  for (const timestamp_group& group : timestamp_groups(entry.times())) {
    const json_time& time = time_of(group.value);
    json_object line(m_lines);
    line.json_string("message", m_message_json)
        .word("datetime", time.datetime)
        .signed_number("timestamp", time.microseconds)
        .word("timestamp_desc", group.labels())
        .boolean("time_valid", time.valid)
        .word("filetime", vk::number_text::hex(group.value, filetime_hex_digits).prefixed("0x").view())
        .word("macb", group.macb());
    add_entry_members(line, entry);
    if (m_options.mft_state) add_mft_state_members(line, state);
    if (!m_options.username.empty()) line.text("username", m_options.username);
    if (!m_options.hostname.empty()) line.text("hostname", m_options.hostname);
    if (!m_options.snapshot.empty()) line.text("snapshot", m_options.snapshot);
    line.finish();
  }
  return m_lines;
}
