// The -jsonl layout: JSON Lines for timeline tools.  Each entry gives one
// line per distinct timestamp value, grouped as the log2timeline rows are
// (timestamp_groups), and each line is one JSON object holding the time, the
// labels of the times that share it, and every field of the entry.  There is
// no header line and no banner: every line of the output parses on its own.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "indx/indx_entry.h"
#include "report/entry_fields.h"
#include "report/json_text.h"
#include "report/mft_state.h"
#include "report/report_options.h"

// The time members of one line.  A FILETIME that converts to a calendar
// time from 1601 to 9999 (four-digit years, which is what ISO 8601 readers
// take) gives its ISO 8601 UTC text with the full seven-digit fraction
// ("2026-11-22T11:10:21.5641234Z") and microseconds since 1970 (negative
// before 1970).  Any other value (0, 2^63 and above, a year past 9999) is not
// a time: "1970-01-01T00:00:00.0000000Z" and 0 stand in, so a timeline tool
// still takes the line, and the line's "time_valid" member says false.
struct json_time {
  bool valid = false;
  std::string datetime = "1970-01-01T00:00:00.0000000Z";
  int64_t microseconds = 0;
};

json_time json_time_of(uint64_t filetime);

// Writes the lines of entries into a buffer it keeps from entry to entry.
class jsonl_writer {
 public:
  explicit jsonl_writer(const report_options& options) : m_options(options) {}

  // The lines of one entry.  `directory` is put before the name; `evidence`
  // names the image, VMDK list, device or INDX file the entry came from.
  // The view stays valid until the next call.
  std::string_view lines(const indx_entry& entry, const std::string& directory, const std::string& evidence,
                         const mft_state_info* state = nullptr);

 private:
  // The time members of `filetime`, with the text of the last second
  // rendered kept: the times of neighbouring entries mostly share it.
  const json_time& time_of(uint64_t filetime);
  void add_entry_members(json_object& line, const indx_entry& entry);
  void add_mft_state_members(json_object& line, const mft_state_info* state);

  // The JSON string of a text that mostly repeats from entry to entry.
  struct escaped_text {
    std::string source;
    std::string json;
    const std::string& of(const std::string& text);
  };
  void escape_texts(const indx_entry& entry, const std::string& directory, const std::string& evidence);

  const report_options& m_options;
  std::string m_lines;
  std::string m_name;
  std::string m_validity;
  std::string m_name_json;
  std::string m_message_json;
  escaped_text m_directory_json;
  escaped_text m_evidence_json;
  flags_text_cache m_flags_text;
  uint64_t m_second = UINT64_MAX;
  json_time m_time;
};
