#include "report/csv_writer.h"

#include "report/csv_cells.h"
#include "report/entry_fields.h"
#include "report/time_format.h"
#include "support/check.h"
#include "support/types.h"
#include "support/vk_string.h"

namespace {

// Column widths of the fixed columns.
constexpr size_t number_width = 10, type_width = 5, dir_file_width = 8, name_width = 30, comment_width = 15,
                 snapshot_width = 27;

// slix's own words in cells: "valid", "slack", "dir", "file" and the flag
// names joined by "+", with an unnamed rest in hexadecimal.
constexpr const char* word_alphabet = "abcdefghijklmnopqrstuvwxyz +-0123456789x";

// A date is digits, month names and the layout's own punctuation.
std::string date_alphabet(const std::string& layout) {
  std::string alphabet = "0123456789JanFebMarAprMayJunJulAugSepOctNovDec";
  for (const char c : layout)
    if (c < 'a' || c > 'z') alphabet += c;
  return alphabet;
}

}  // namespace

csv_writer::csv_writer(const report_options& options)
    : m_options(options),
      m_separator(csv_separator_of(options)),
      m_padded(options.pair_datetime && !options.no_whitespace),
      m_line(m_separator),
      m_numbers_plain(m_line.never_quotes("0123456789abcdefx")),
      m_clocks_plain(m_line.never_quotes("0123456789:.")),
      m_words_plain(m_line.never_quotes(word_alphabet)),
      m_dates_plain(m_line.never_quotes(date_alphabet(options.date_format))),
      m_single_byte_separator(m_separator.size() == 1),
      m_times(options.time_spec) {
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
  if (options.mft_state)
    for (const char* name : {"mft state", "mft record", "current path"}) add_column(name, comment_width);
  if (!options.username.empty()) add_column("username", options.username.size());
  if (!options.hostname.empty()) add_column("hostname", options.hostname.size());
  if (!options.snapshot.empty()) add_column("snapshot", snapshot_width);
}

void csv_writer::add_column(std::string name, size_t width) {
  m_columns.push_back(column{std::move(name), m_padded ? width : 0});
}

std::string csv_writer::header() const {
  csv_line line(m_separator);
  for (const column& col : m_columns) line.add(col.name, col.width);
  return line.finish();
}

std::string_view csv_writer::row(const indx_entry& entry, const std::string& directory,
                                 const mft_state_info* state) {
  m_next_column = 0;
  add_number_cell(entry.offset.bytes);
  if (entry_number_missing(entry)) {
    add_cell({});
  } else {
    add_number_cell(mft_entry_of(entry.file_ref));
  }
  add_number_cell(mft_sequence_of(entry.file_ref));
  add_number_cell(mft_entry_of(entry.parent_ref()));
  add_number_cell(mft_sequence_of(entry.parent_ref()));
  add_cell(validity_word(entry), m_words_plain);
  for (const uint64_t filetime : entry.times())
    add_time_cells(filetime);
  add_cell(entry.is_dir ? "dir" : "file", m_words_plain);
  add_number_cell(entry.alloc_size());
  add_number_cell(entry.real_size());
  add_cell(m_flags_text.text_of(entry.attr_flags()), m_words_plain);
  m_cell.assign(directory);
  vk::append_visible_name(m_cell, entry.name);
  add_cell(m_cell, name_cell_plain(directory));
  add_cell(entry.annotation);
  if (m_options.mft_state) add_mft_state_cells(state);
  if (!m_options.username.empty()) add_cell(m_options.username);
  if (!m_options.hostname.empty()) add_cell(m_options.hostname);
  if (!m_options.snapshot.empty()) add_cell(m_options.snapshot);
  SLIX_CHECK(m_next_column == m_columns.size());
  return m_line.finish_view();
}

void csv_writer::add_mft_state_cells(const mft_state_info* state) {
  const mft_state_info none;
  const mft_state_info& shown = state != nullptr ? *state : none;
  add_cell(mft_state_word(shown.state));
  add_cell(shown.state == mft_state::unknown ? std::string() : mft_record_text(shown.record));
  add_cell(shown.state == mft_state::moved ? vk::escape_controls(shown.current_path) : std::string());
}

// A directory's entries share its path: whether the path alone would need
// quotes is learned once per directory, and then only the name is searched.
// A separator of several bytes could straddle the two, so it is not split.
bool csv_writer::name_cell_plain(const std::string& directory) {
  if (directory != m_quote_directory || !m_quote_directory_known) {
    m_quote_directory = directory;
    m_quote_directory_known = true;
    m_directory_plain = m_single_byte_separator && !m_line.needs_quotes(directory);
  }
  return m_directory_plain && !m_line.needs_quotes(std::string_view(m_cell).substr(directory.size()));
}

void csv_writer::add_cell(std::string_view text) {
  SLIX_CHECK(m_next_column < m_columns.size());
  m_line.add(text, m_columns[m_next_column++].width);
}

void csv_writer::add_cell(std::string_view text, bool plain) {
  if (!plain) return add_cell(text);
  SLIX_CHECK(m_next_column < m_columns.size());
  m_line.add_plain(text, m_columns[m_next_column++].width);
}

// A column's numbers often repeat from row to row (a directory's parent
// reference, sequence numbers, sizes): the text of the last one is kept.
void csv_writer::add_number_cell(uint64_t value) {
  if (m_last_numbers.size() < m_columns.size()) m_last_numbers.resize(m_columns.size());
  last_number& last = m_last_numbers[m_next_column];
  if (!last.known || last.value != value) last = {true, value, number_cell(value, m_options.base10)};
  add_cell(last.text.view(), m_numbers_plain);
}

// With -pair_datetime one cell holds date, blank and time; a time that does
// not convert leaves the cell (or both cells) empty.
void csv_writer::add_time_cells(uint64_t filetime) {
  const bool rendered = m_times.render(filetime);
  if (!m_options.pair_datetime) {
    add_cell(m_times.date(), m_dates_plain);
    add_cell(m_times.time(), m_clocks_plain);
  } else if (!rendered) {
    add_cell({});
  } else {
    m_cell.assign(m_times.date());
    m_cell += ' ';
    m_cell += m_times.time();
    add_cell(m_cell);
  }
}
