#include "report/csv_cells.h"

#include "support/byte_words.h"
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
  std::string special = "\"\r\n";
  if (m_separator.size() == 1 && special.find(m_separator[0]) == std::string::npos) special += m_separator;
  for (const char c : special) {
    m_special[static_cast<unsigned char>(c)] = true;
    m_special_words[m_special_count++] = vk::repeated_byte(static_cast<unsigned char>(c));
  }
}

bool csv_line::needs_quotes(std::string_view cell) const {
  size_t at = 0;
  for (; at + sizeof(uint64_t) <= cell.size(); at += sizeof(uint64_t)) {
    const uint64_t word = vk::word_at(cell, at);
    for (size_t i = 0; i < m_special_count; ++i)
      if (vk::has_zero_byte(word ^ m_special_words[i])) return true;
  }
  for (; at < cell.size(); ++at)
    if (m_special[static_cast<unsigned char>(cell[at])]) return true;
  return m_separator.size() > 1 && cell.find(m_separator) != std::string_view::npos;
}

bool csv_line::never_quotes(std::string_view alphabet) const {
  for (const char c : alphabet)
    if (m_special[static_cast<unsigned char>(c)]) return false;
  // A longer separator can only appear in a cell if all its bytes can.
  return m_separator.size() == 1 || m_separator.find_first_not_of(alphabet) != std::string::npos;
}

void csv_line::start_cell() {
  if (m_finished) {
    m_text.clear();
    m_empty = true;
    m_finished = false;
  }
  if (!m_empty) m_text += m_separator;
  m_empty = false;
}

// Characters are counted only when the cell is padded.
void csv_line::pad(size_t start, size_t width) {
  if (width == 0) return;
  const size_t length = utf8_length(std::string_view(m_text).substr(start));
  if (width > length) m_text.append(width - length, ' ');
}

void csv_line::add_plain(std::string_view cell, size_t width) {
  start_cell();
  const size_t start = m_text.size();
  m_text.append(cell);
  pad(start, width);
}

void csv_line::add(std::string_view cell, size_t width) {
  start_cell();
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
  pad(start, width);
}

std::string_view csv_line::finish_view() {
  if (m_finished) m_text.clear();
  m_text += '\n';
  m_finished = true;
  return m_text;
}
