#include "report/csv_cells.h"

#include "support/vk_string.h"

std::string csv_separator_of(const report_options& options) {
  return options.no_whitespace ? vk::replace_all(options.csv_separator, " ", "") : options.csv_separator;
}

namespace {

// Appends the cell, quoted RFC 4180 style when it must be; returns the
// number of characters appended.  One pass decides the quoting and counts
// the characters, since this runs for every cell of every row.
size_t append_csv_cell(std::string& out, std::string_view cell, std::string_view separator) {
  const char single = separator.size() == 1 ? separator[0] : '"';
  bool quote = false;
  size_t chars = 0;
  for (char c : cell) {
    quote |= c == '"' || c == '\r' || c == '\n' || c == single;
    chars += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }
  if (separator.size() > 1) quote |= cell.find(separator) != std::string_view::npos;
  if (!quote) {
    out.append(cell);
    return chars;
  }
  const size_t start = out.size();
  out.push_back('"');
  for (char c : cell) {
    if (c == '"') out.push_back('"');
    out.push_back(c);
  }
  out.push_back('"');
  return utf8_length(std::string_view(out).substr(start));
}

}  // namespace

size_t utf8_length(std::string_view text) {
  size_t count = 0;
  for (char c : text) {
    if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++count;
  }
  return count;
}

void csv_line::add(std::string_view cell, size_t width) {
  if (!m_empty) m_text += m_separator;
  m_empty = false;
  const size_t length = append_csv_cell(m_text, cell, m_separator);
  if (width > length) m_text.append(width - length, ' ');
}

std::string csv_line::finish() {
  std::string line = std::move(m_text);
  line += '\n';
  m_text.clear();
  m_empty = true;
  return line;
}
