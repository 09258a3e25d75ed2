#include "report/csv_cells.h"

#include "support/vk_string.h"

std::string csv_separator_of(const report_options& options) {
  return options.no_whitespace ? vk::replace_all(options.csv_separator, " ", "") : options.csv_separator;
}

size_t utf8_length(std::string_view text) {
  size_t count = 0;
  for (char c : text) {
    if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++count;
  }
  return count;
}

csv_line::csv_line(std::string_view separator) : m_separator(separator) {
  for (const char c : {'"', '\r', '\n'}) m_special[static_cast<unsigned char>(c)] = true;
  if (m_separator.size() == 1) m_special[static_cast<unsigned char>(m_separator[0])] = true;
}

bool csv_line::needs_quotes(std::string_view cell) const {
  for (const char c : cell)
    if (m_special[static_cast<unsigned char>(c)]) return true;
  return m_separator.size() > 1 && cell.find(m_separator) != std::string_view::npos;
}

void csv_line::add(std::string_view cell, size_t width) {
  if (m_finished) {
    m_text.clear();
    m_empty = true;
    m_finished = false;
  }
  if (!m_empty) m_text += m_separator;
  m_empty = false;
  const size_t start = m_text.size();
  if (!needs_quotes(cell)) {
    m_text.append(cell);
  } else {
    m_text += '"';
    for (size_t quote; (quote = cell.find('"')) != std::string_view::npos; cell.remove_prefix(quote + 1)) {
      m_text.append(cell.substr(0, quote + 1));
      m_text += '"';
    }
    m_text.append(cell);
    m_text += '"';
  }
  // Characters are counted only when the cell is padded.
  if (width == 0) return;
  const size_t length = utf8_length(std::string_view(m_text).substr(start));
  if (width > length) m_text.append(width - length, ' ');
}

std::string_view csv_line::finish_view() {
  if (m_finished) m_text.clear();
  m_text += '\n';
  m_finished = true;
  return m_text;
}
