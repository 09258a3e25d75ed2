// The -csv layout: one header line and one row per entry, in the same
// column order.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "report/report_options.h"
#include "indx/indx_entry.h"

class csv_writer {
 public:
  explicit csv_writer(const report_options& options);

  std::string header() const;
  // `directory` is put before the entry's name.
  std::string row(const indx_entry& entry, const std::string& directory) const;

 private:
  struct column {
    std::string name;
    size_t width;
  };

  void add_column(std::string name, size_t width);
  std::vector<std::string> row_cells(const indx_entry& entry, const std::string& directory) const;
  void add_time_cells(std::vector<std::string>& cells, uint64_t filetime) const;

  const report_options& m_options;
  std::string m_separator;
  // Cells are padded only with -pair_datetime and without -no_whitespace.
  bool m_padded;
  std::vector<column> m_columns;
};
