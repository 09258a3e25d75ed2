#include "report/csv_writer.h"


#include "report/csv_cells.h"
#include "support/check.h"
#include "report/entry_fields.h"
#include "report/time_format.h"
#include "support/types.h"

namespace {

// Column widths of the fixed columns.
constexpr size_t number_width = 10, type_width = 5, dir_file_width = 8, name_width = 30, comment_width = 15;

}  // namespace

csv_writer::csv_writer(const report_options& options)
    : m_options(options),
      m_separator(csv_separator_of(options)),
      m_padded(options.pair_datetime && !options.no_whitespace) {
  add_column("offset", number_width);
  for (const char* name : {"mft entry", "mft seqnum", "parent mft", "par seqnum"}) add_column(name, number_width);
  add_column("type", type_width);
  const size_t date_width = options.date_format.size();
  const size_t time_width = options.time_format.size();
  if (options.pair_datetime) {
    for (const char* name : {"file modify date [UTC]", "file access date [UTC]", "file mft date [UTC]",
                             "file create date [UTC]"})
      add_column(name, date_width + time_width + 1);
  } else {
    for (const char* name : {"file mdate", "file adate", "mftdate", "file cdate"}) {
      add_column(name, date_width);
      add_column("time-UTC", time_width);
    }
  }
  add_column("dir/file", dir_file_width);
  for (const char* name : {"size resv", "size used", "flags"}) add_column(name, number_width);
  add_column("name", name_width);
  add_column("slack comment", comment_width);
  if (!options.username.empty()) add_column("username", options.username.size());
  if (!options.hostname.empty()) add_column("hostname", options.hostname.size());
}

void csv_writer::add_column(std::string name, size_t width) {
  m_columns.push_back(column{std::move(name), m_padded ? width : 0});
}

std::string csv_writer::header() const {
  csv_line line(m_separator);
  for (const column& col : m_columns) line.add(col.name, col.width);
  return line.finish();
}

std::string csv_writer::row(const indx_entry& entry, const std::string& directory) const {
  const std::vector<std::string> cells = row_cells(entry, directory);
  SLIX_CHECK(cells.size() == m_columns.size());
  csv_line line(m_separator);
  for (size_t i = 0; i < cells.size(); ++i) line.add(cells[i], m_columns[i].width);
  return line.finish();
}

std::vector<std::string> csv_writer::row_cells(const indx_entry& entry, const std::string& directory) const {
  const bool base10 = m_options.base10;
  std::vector<std::string> cells;
  cells.reserve(m_columns.size());
  cells.push_back(cell_number(entry.offset.bytes, base10));
  cells.push_back(entry_number_missing(entry) ? std::string() : cell_number(mft_entry_of(entry.file_ref), base10));
  cells.push_back(cell_number(mft_sequence_of(entry.file_ref), base10));
  cells.push_back(cell_number(mft_entry_of(entry.parent_ref()), base10));
  cells.push_back(cell_number(mft_sequence_of(entry.parent_ref()), base10));
  cells.push_back(validity_word(entry));
  for (uint64_t filetime : {entry.modified(), entry.accessed(), entry.mft_changed(), entry.created()})
    add_time_cells(cells, filetime);
  cells.push_back(entry.is_dir ? "dir" : "file");
  cells.push_back(cell_number(entry.alloc_size(), base10));
  cells.push_back(cell_number(entry.real_size(), base10));
  cells.push_back(attr_flags_text(entry.attr_flags()));
  cells.push_back(full_name_of(entry, directory));
  cells.push_back(entry.annotation);
  if (!m_options.username.empty()) cells.push_back(m_options.username);
  if (!m_options.hostname.empty()) cells.push_back(m_options.hostname);
  return cells;
}

// With -pair_datetime one cell holds date, blank and time; a time that does
// not convert leaves the cell (or both cells) empty.
void csv_writer::add_time_cells(std::vector<std::string>& cells, uint64_t filetime) const {
  std::string date, time;
  const bool rendered = render_filetime(filetime, m_options.time_spec, date, time);
  if (!m_options.pair_datetime) {
    cells.push_back(std::move(date));
    cells.push_back(std::move(time));
  } else {
    cells.push_back(rendered ? date + " " + time : std::string());
  }
}
