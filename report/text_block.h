// The default layout: one block of labelled lines per entry.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "indx/indx_entry.h"
#include "report/entry_fields.h"
#include "report/mft_state.h"
#include "report/report_options.h"
#include "report/time_format.h"

class text_block_writer {
 public:
  explicit text_block_writer(const report_options& options);

  // The block of one entry, ending with an empty line that separates it from
  // the next block.  `directory` is put before the name; `record_buffer` is
  // the buffer the entry's offset indexes, dumped from with -hexdump.  The
  // block is built in a buffer the writer keeps; the view stays valid until
  // the next block.
  // With -mftstate, `state` says what became of the entry's file.
  std::string_view block(const indx_entry& entry, const std::string& directory,
                         std::span<const uint8_t> record_buffer, const mft_state_info* state = nullptr);

 private:
  // Starts a line: the label, blank-filled to the value column.
  void label(std::string_view text);
  void line(std::string_view label_text, std::string_view value);
  void mft_state_lines(const mft_state_info& state);
  // "0x", the zero-filled hexadecimal, " [", the decimal and "]".
  void number_line(std::string_view label_text, uint64_t value, int hex_digits);
  void reference_lines(const indx_entry& entry);
  void time_line(std::string_view label_text, uint64_t filetime);
  void hex_dump(const indx_entry& entry, std::span<const uint8_t> record_buffer);

  const report_options& m_options;
  time_renderer m_times;
  flags_text_cache m_flags_text;
  std::string m_block;
};
