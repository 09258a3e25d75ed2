#include "report/timeline_writer.h"

#include <algorithm>

#include "report/csv_cells.h"
#include "report/entry_fields.h"
#include "report/time_format.h"
#include "support/types.h"
#include "support/vk_string.h"
#include "support/vk_time.h"

namespace {

constexpr const char* macb_letters = "MACB";
constexpr std::array<const char*, 4> time_labels{"Last Modified", "Last Access", "MFT Change", "Created"};
constexpr const char* timeline_source = "INDX";
constexpr const char* timeline_timezone = "UTC";
constexpr const char* timeline_version = "2";
constexpr const char* timeline_format = "slix (vornak)";
constexpr const char* bodyfile_header =
    "md5|name|inode|mode as string|uid|gid|size|access time|modify time|mft time|create time\n";
constexpr int bodyfile_offset_digits = 4;

std::string description_of(const indx_entry& entry, const std::string& full_name, bool base10) {
  std::string text = full_name;
  if (!entry.is_dir && entry.real_size() != 0) text += " (file size: " + cell_number(entry.real_size(), base10) + ")";
  const uint64_t parent = mft_entry_of(entry.parent_ref());
  if (parent != 0) text += " (parent inode " + cell_number(parent, base10) + ")";
  return text;
}

std::string log2timeline_header(const report_options& options) {
  csv_line line(csv_separator_of(options));
  if (options.pair_datetime) {
    line.add("date/time");
  } else {
    line.add("date");
    line.add("time");
  }
  for (const char* name : {"timezone", "MACB", "source", "sourcetype", "type", "user", "host", "short", "desc",
                           "version", "filename", "inode", "notes", "format", "extra"})
    line.add(name);
  return line.finish();
}

// The row of one timestamp value, carrying the letters and labels of every
// timestamp of the entry that holds the same value.
std::string log2timeline_row(const timeline_record& record, const timestamp_group& group,
                             const report_options& options) {
  std::string date, time;
  const bool rendered = render_filetime(group.value, options.time_spec, date, time);
  csv_line line(csv_separator_of(options));
  if (options.pair_datetime) {
    line.add(rendered ? date + " " + time : std::string());
  } else {
    line.add(date);
    line.add(time);
  }
  for (const std::string_view cell :
       {std::string_view(timeline_timezone), group.macb(), std::string_view(timeline_source),
        std::string_view(record.source_type), group.labels(), std::string_view(record.user),
        std::string_view(record.host), std::string_view(record.short_text), std::string_view(record.description),
        std::string_view(timeline_version), std::string_view(record.full_name), std::string_view(record.inode),
        std::string_view(record.notes), std::string_view(timeline_format), std::string_view(record.extra)})
    line.add(cell);
  return line.finish();
}

// A bodyfile line must stay one line with eleven fields.
std::string bodyfile_safe(const std::string& text) {
  std::string safe = vk::replace_all(text, "|", ";");
  for (char& c : safe) {
    if (c == '\r' || c == '\n') c = ' ';
  }
  return safe;
}

}  // namespace

timeline_record make_timeline_record(const indx_entry& entry, const std::string& directory,
                                     const report_options& options, const mft_state_info* state) {
  timeline_record record;
  record.times = entry.times();
  record.full_name = full_name_of(entry, directory);
  record.description = description_of(entry, record.full_name, options.base10);
  record.short_text = std::string(validity_word(entry)) + (entry.is_dir ? " dir entry" : " file entry");
  if (!entry_number_missing(entry)) record.inode = cell_number(mft_entry_of(entry.file_ref), options.base10);
  const std::string label = options.source_label.empty() ? timeline_source : options.source_label;
  record.source_type = label + "-" + validity_word(entry);
  record.notes = "indx offset: " + cell_number(entry.offset.bytes, options.base10);
  if (state != nullptr) {
    record.notes += "; mft state: " + std::string(mft_state_word(state->state));
    if (state->state != mft_state::unknown) record.notes += " " + mft_record_text(state->record);
  }
  record.user = options.username;
  record.host = options.hostname;
  if (!options.snapshot.empty()) record.notes += "; snapshot: " + options.snapshot;
  // A live entry's only annotation is "deleted since the snapshot" (-vss all).
  record.extra = entry.annotation;
  return record;
}

namespace {

// The MACB letters and the joined labels of each set of times, by bit mask.
struct group_texts {
  std::array<std::string, 16> macb;
  std::array<std::string, 16> labels;

  group_texts() {
    for (size_t mask = 0; mask < 16; ++mask) {
      macb[mask] = "....";
      for (size_t i = 0; i < time_labels.size(); ++i) {
        if ((mask & (size_t{1} << i)) == 0) continue;
        macb[mask][i] = macb_letters[i];
        labels[mask] += (labels[mask].empty() ? "" : "; ") + std::string(time_labels[i]);
      }
    }
  }
};

const group_texts& texts_of_groups() {
  static const group_texts texts;
  return texts;
}

}  // namespace

std::string_view timestamp_group::macb() const { return texts_of_groups().macb[times & 0x0F]; }

std::string_view timestamp_group::labels() const { return texts_of_groups().labels[times & 0x0F]; }

timestamp_group_list timestamp_groups(const std::array<uint64_t, 4>& times) {
  timestamp_group_list list;
  for (size_t i = 0; i < times.size(); ++i) {
    timestamp_group* group = list.groups.data();
    while (group != list.end() && group->value != times[i]) ++group;
    if (group == list.end()) {
      *group = timestamp_group{times[i], 0};
      ++list.count;
    }
    group->times = static_cast<uint8_t>(group->times | (1u << i));
  }
  return list;
}

// A row whose time does not convert has empty date and time cells.
void write_log2timeline_rows(bool& first_call, vk::output_sink& out, const timeline_record& record,
                             const report_options& options) {
  if (first_call) {
    out.write(log2timeline_header(options));
    first_call = false;
  }
  for (const timestamp_group& group : timestamp_groups(record.times))
    out.write(log2timeline_row(record, group, options));
}

int64_t bodyfile_seconds(uint64_t filetime) {
  const vk::time value(filetime, vk::type_time::filetime);
  return value.valid() ? value.unix_seconds() : 0;
}

bodyfile_record make_bodyfile_record(const indx_entry& entry, const std::string& directory,
                                     const report_options& options) {
  bodyfile_record record;
  std::string name = full_name_of(entry, directory);
  name += "; indx offset: ";
  name += options.base10 ? vk::dec(entry.offset.bytes) : "0x" + vk::hex(entry.offset.bytes, bodyfile_offset_digits);
  if (!entry.is_valid) name += " (slack)";
  record.name = bodyfile_safe(name);
  record.inode = mft_entry_of(entry.file_ref);
  record.mode = entry.is_dir ? "d/drwxrwxrwx" : "r/rrwxrwxrwx";
  record.size = entry.real_size();
  record.access_time = bodyfile_seconds(entry.accessed());
  record.modify_time = bodyfile_seconds(entry.modified());
  record.change_time = bodyfile_seconds(entry.mft_changed());
  record.create_time = bodyfile_seconds(entry.created());
  return record;
}

void write_bodyfile_line(bool& first_call, vk::output_sink& out, const bodyfile_record& record) {
  if (first_call) {
    out.write(bodyfile_header);
    first_call = false;
  }
  out.write("0|" + record.name + "|" + vk::dec(record.inode) + "|" + record.mode + "|0|0|" + vk::dec(record.size) +
            "|" + std::to_string(record.access_time) + "|" + std::to_string(record.modify_time) + "|" +
            std::to_string(record.change_time) + "|" + std::to_string(record.create_time) + "\n");
}
