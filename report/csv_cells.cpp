#include "report/csv_cells.h"

#include "support/vk_string.h"

std::string csv_separator_of(const indx_options& options) {
  return options.no_whitespace ? vk::replace_all(options.csv_separator, " ", "") : options.csv_separator;
}

std::string quote_csv_cell(std::string_view cell, std::string_view separator) {
  const bool holds_separator = !separator.empty() && cell.find(separator) != std::string_view::npos;
  if (!holds_separator && cell.find_first_of("\"\r\n") == std::string_view::npos) return std::string(cell);
  return "\"" + vk::replace_all(cell, "\"", "\"\"") + "\"";
}

size_t utf8_length(std::string_view text) {
  size_t count = 0;
  for (char c : text) {
    if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++count;
  }
  return count;
}

void csv_line::add(std::string_view cell, size_t width) {
  if (!m_empty) {
    m_text.append(m_pending_padding, ' ');
    m_text += m_separator;
  }
  m_empty = false;
  const std::string quoted = quote_csv_cell(cell, m_separator);
  m_text += quoted;
  const size_t length = utf8_length(quoted);
  m_pending_padding = width > length ? width - length : 0;
}

std::string csv_line::finish() {
  std::string line = std::move(m_text);
  line += '\n';
  m_text.clear();
  m_pending_padding = 0;
  m_empty = true;
  return line;
}
