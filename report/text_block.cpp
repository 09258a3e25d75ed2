#include "report/text_block.h"

#include "report/entry_fields.h"
#include "report/hexdump.h"
#include "report/time_format.h"
#include "support/le_reader.h"
#include "support/types.h"
#include "support/vk_string.h"

namespace {

constexpr size_t label_width = 22;
// Hexadecimal digits of each kind of number.
constexpr int entry_digits = 12, sequence_digits = 4, size_digits = 8, flags_digits = 8;

void append_line(std::string& block, std::string_view label, std::string_view value) {
  block += label;
  if (label.size() < label_width) block.append(label_width - label.size(), ' ');
  block += value;
  block += '\n';
}

std::string time_text(uint64_t filetime, const report_options& options) {
  std::string date, time;
  render_filetime(filetime, options.time_spec, date, time);
  return date + " " + time + " [UTC]";
}

void append_reference_lines(std::string& block, const indx_entry& entry) {
  const char* corrupted = "<corrupted>";
  const uint16_t sequence = mft_sequence_of(entry.file_ref);
  append_line(block, "MFT Entry:",
              entry_number_missing(entry) ? corrupted : hex_and_decimal(mft_entry_of(entry.file_ref), entry_digits));
  append_line(block, "MFT Sequence:", sequence == 0 ? corrupted : hex_and_decimal(sequence, sequence_digits));
  append_line(block, "Parent Entry:", hex_and_decimal(mft_entry_of(entry.parent_ref()), entry_digits));
  append_line(block, "Parent Sequence:", hex_and_decimal(mft_sequence_of(entry.parent_ref()), sequence_digits));
}

void append_time_lines(std::string& block, const indx_entry& entry, const report_options& options) {
  append_line(block, "Modify time:", time_text(entry.modified(), options));
  append_line(block, "Access time:", time_text(entry.accessed(), options));
  append_line(block, "MFTChanged time:", time_text(entry.mft_changed(), options));
  append_line(block, "Create time:", time_text(entry.created(), options));
}

// The entry's bytes from its offset, clipped at the end of the buffer.  An
// entry at offset 0 is not dumped.
void append_hex_dump(std::string& block, const indx_entry& entry, std::span<const uint8_t> record_buffer) {
  if (record_buffer.empty() || entry.offset.bytes == 0 || entry.offset.bytes >= record_buffer.size()) return;
  const size_t start = static_cast<size_t>(entry.offset.bytes);
  const size_t left = record_buffer.size() - start;
  const size_t length = entry.size < left ? entry.size : left;
  block += format_hex_dump(vk::binary_data(record_buffer.subspan(start, length)), entry.offset.bytes);
}

}  // namespace

std::string format_text_block(const indx_entry& entry, const std::string& directory, const report_options& options,
                              std::span<const uint8_t> record_buffer) {
  std::string block;
  append_line(block, "Name:", full_name_of(entry, directory));
  append_reference_lines(block, entry);
  append_line(block, "Entry:", validity_text(entry));
  append_time_lines(block, entry, options);
  if (!entry.is_dir) {
    append_line(block, "Size allocated:", hex_and_decimal(entry.alloc_size(), size_digits));
    append_line(block, "Size used:", hex_and_decimal(entry.real_size(), size_digits));
  }
  append_line(block, "Relative Offset:", hex_and_decimal(entry.offset.bytes, size_digits));
  append_line(block, "Type entry:",
              "0x" + vk::hex(entry.attr_flags(), flags_digits) + " [" + attr_flags_text(entry.attr_flags()) + "]");
  append_line(block, "Source type:", source_type_text(entry.attr_type));
  if (!options.username.empty()) append_line(block, "Username:", options.username);
  if (!options.hostname.empty()) append_line(block, "Hostname:", options.hostname);
  if (options.hexdump) append_hex_dump(block, entry, record_buffer);
  block += '\n';
  return block;
}
