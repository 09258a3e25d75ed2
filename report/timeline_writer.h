// The two timeline layouts: log2timeline CSV rows (-csvl2t) and bodyfile
// lines (-bodyfile).  Each writes its header line before its first row of
// the run.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "report/mft_state.h"
#include "report/report_options.h"
#include "indx/indx_entry.h"
#include "support/output_sink.h"

// What the log2timeline rows of one entry are made of.
struct timeline_record {
  // Modified, accessed, MFT changed, created: the M, A, C and B of MACB.
  std::array<uint64_t, 4> times{};
  std::string full_name;
  std::string description;
  std::string short_text;
  std::string inode;
  std::string source_type;
  std::string notes;
  std::string user;
  std::string host;
  std::string extra;
};

// With -mftstate, `state` (what became of the entry's file) joins the notes.
timeline_record make_timeline_record(const indx_entry& entry, const std::string& directory,
                                     const report_options& options, const mft_state_info* state = nullptr);

// One distinct timestamp value of an entry, with the MACB letters ("M.C.")
// and the labels ("Last Modified; MFT Change") of every time that holds it.
struct timestamp_group {
  uint64_t value = 0;
  // Bit i set: time i (modified, accessed, MFT changed, created) holds the value.
  uint8_t times = 0;

  std::string_view macb() const;
  std::string_view labels() const;
};

// At most four groups, kept in place.
struct timestamp_group_list {
  std::array<timestamp_group, 4> groups{};
  size_t count = 0;

  const timestamp_group* begin() const { return groups.data(); }
  const timestamp_group* end() const { return groups.data() + count; }
};

// The groups of the modified, accessed, MFT changed and created times, in the
// order each value first appears: the rows of -csvl2t and the lines of
// -jsonl.  A time that does not convert (zero included) is a value like any
// other and keeps its group, so no entry is lost from a timeline.
timestamp_group_list timestamp_groups(const std::array<uint64_t, 4>& times);

// Writes the header when `first_call` is set (and clears it), then one row per
// distinct timestamp value of the record.
void write_log2timeline_rows(bool& first_call, vk::output_sink& out, const timeline_record& record,
                             const report_options& options);

struct bodyfile_record {
  std::string name;
  uint64_t inode = 0;
  std::string mode;
  uint64_t size = 0;
  // Seconds since 1970-01-01 UTC; negative before 1970.
  int64_t access_time = 0;
  int64_t modify_time = 0;
  int64_t change_time = 0;
  int64_t create_time = 0;
};

bodyfile_record make_bodyfile_record(const indx_entry& entry, const std::string& directory,
                                     const report_options& options);

void write_bodyfile_line(bool& first_call, vk::output_sink& out, const bodyfile_record& record);

// Seconds since 1970 of a FILETIME for a bodyfile: 0 for a zero or
// unconvertible value, negative for a time before 1970.
int64_t bodyfile_seconds(uint64_t filetime);
