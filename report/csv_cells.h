// Cells and lines of the comma-separated layouts (-csv, -csvl2t).
//
// A cell that holds the separator, a double quote, a carriage return or a
// line feed is quoted in the RFC 4180 way: wrapped in double quotes with
// every inner quote doubled, so every CSV reader finds the same columns.
// Padding, when a layout asks for it, is added outside the quotes: the cell
// is left-justified and filled with blanks to its column width, counted in
// characters (UTF-8 code points, so a name with accents lines up on screen),
// never cut; the last cell is padded too.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "report/report_options.h"

// The separator of -csv and -csvl2t: "," or the -csv_separator text, with
// its blanks taken out under -no_whitespace.
std::string csv_separator_of(const report_options& options);

// Characters in a UTF-8 text (bytes that do not continue a sequence).
size_t utf8_length(std::string_view text);

// One line at a time, built in a buffer that is kept from line to line.
class csv_line {
 public:
  explicit csv_line(std::string_view separator);

  // Appends one cell, quoted when needed, padded to `width` characters.
  void add(std::string_view cell, size_t width = 0);
  // True when no text made only of `alphabet` can need quotes with this
  // separator; such cells may skip the test.
  bool never_quotes(std::string_view alphabet) const;
  // Appends a cell known to need no quotes, padded to `width` characters.
  void add_plain(std::string_view cell, size_t width = 0);
  // The finished line, ending in a line feed; the next add() starts a new
  // line.  The view stays valid until then.
  std::string_view finish_view();
  std::string finish() { return std::string(finish_view()); }
  // True when `cell` holds the separator, a double quote, CR or LF.
  bool needs_quotes(std::string_view cell) const;

 private:
  void start_cell();
  void pad(size_t start, size_t width);

  std::string m_separator;
  // The bytes that force quoting: '"', CR, LF and a one-byte separator.
  std::array<bool, 256> m_special{};
  // The same bytes, each repeated across a 64-bit word, so that eight bytes
  // of a cell are tested at once.
  std::array<uint64_t, 4> m_special_words{};
  size_t m_special_count = 0;
  std::string m_text;
  bool m_empty = true;
  bool m_finished = false;
};
