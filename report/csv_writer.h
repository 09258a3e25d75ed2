// The -csv layout: one header line and one row per entry, in the same
// column order.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "indx/indx_entry.h"
#include "report/csv_cells.h"
#include "report/entry_fields.h"
#include "report/mft_state.h"
#include "report/report_options.h"
#include "report/time_format.h"
#include "support/number_text.h"

class csv_writer {
 public:
  explicit csv_writer(const report_options& options);

  std::string header() const;
  // `directory` is put before the entry's name.  The row is built in a
  // buffer the writer keeps; the view stays valid until the next row.
  // With -mftstate, `state` says what became of the entry's file.
  std::string_view row(const indx_entry& entry, const std::string& directory, const mft_state_info* state = nullptr);

 private:
  struct column {
    std::string name;
    size_t width;
  };

  void add_column(std::string name, size_t width);
  // Appends the next cell of the row.
  void add_cell(std::string_view text);
  bool name_cell_plain(const std::string& directory);
  void add_mft_state_cells(const mft_state_info* state);
  // Appends a cell of digits and the like, which needs no quotes unless the
  // separator could appear in it (`plain` false).
  void add_cell(std::string_view text, bool plain);
  void add_number_cell(uint64_t value);
  void add_time_cells(uint64_t filetime);

  const report_options& m_options;
  std::string m_separator;
  // Cells are padded only with -pair_datetime and without -no_whitespace.
  bool m_padded;
  std::vector<column> m_columns;
  csv_line m_line;
  // Whether numbers and clock times can go without the quoting test.
  bool m_numbers_plain;
  bool m_clocks_plain;
  bool m_words_plain;
  bool m_dates_plain;
  bool m_single_byte_separator;
  struct last_number {
    bool known = false;
    uint64_t value = 0;
    vk::number_text text;
  };
  std::vector<last_number> m_last_numbers;
  // The directory whose quoting is known (name_cell_plain).
  std::string m_quote_directory;
  bool m_quote_directory_known = false;
  bool m_directory_plain = false;
  size_t m_next_column = 0;
  time_renderer m_times;
  flags_text_cache m_flags_text;
  // The name cell, or the date and time of a -pair_datetime cell, as built.
  std::string m_cell;
};
