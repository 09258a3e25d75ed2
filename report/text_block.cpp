#include "report/text_block.h"

#include "report/hexdump.h"
#include "support/le_reader.h"
#include "support/number_text.h"
#include "support/types.h"
#include "support/vk_string.h"

namespace {

constexpr size_t label_width = 22;
// Hexadecimal digits of each kind of number.
constexpr int entry_digits = 12, sequence_digits = 4, size_digits = 8, flags_digits = 8;
constexpr std::string_view corrupted = "<corrupted>";

}  // namespace

text_block_writer::text_block_writer(const report_options& options)
    : m_options(options), m_times(options.time_spec) {}

void text_block_writer::label(std::string_view text) {
  m_block += text;
  if (text.size() < label_width) m_block.append(label_width - text.size(), ' ');
}

void text_block_writer::line(std::string_view label_text, std::string_view value) {
  label(label_text);
  m_block += value;
  m_block += '\n';
}

void text_block_writer::number_line(std::string_view label_text, uint64_t value, int hex_digits) {
  label(label_text);
  m_block += "0x";
  m_block += vk::number_text::hex(value, hex_digits).view();
  m_block += " [";
  m_block += vk::number_text::dec(value).view();
  m_block += "]\n";
}

void text_block_writer::reference_lines(const indx_entry& entry) {
  const uint16_t sequence = mft_sequence_of(entry.file_ref);
  if (entry_number_missing(entry)) {
    line("MFT Entry:", corrupted);
  } else {
    number_line("MFT Entry:", mft_entry_of(entry.file_ref), entry_digits);
  }
  if (sequence == 0) {
    line("MFT Sequence:", corrupted);
  } else {
    number_line("MFT Sequence:", sequence, sequence_digits);
  }
  number_line("Parent Entry:", mft_entry_of(entry.parent_ref()), entry_digits);
  number_line("Parent Sequence:", mft_sequence_of(entry.parent_ref()), sequence_digits);
}

// A time that does not convert leaves date and time empty around the blank.
void text_block_writer::time_line(std::string_view label_text, uint64_t filetime) {
  m_times.render(filetime);
  label(label_text);
  m_block += m_times.date();
  m_block += ' ';
  m_block += m_times.time();
  m_block += " [UTC]\n";
}

// The entry's bytes from its offset, clipped at the end of the buffer.  An
// entry at offset 0 is not dumped.
// An entry carved from the volume comes with its own bytes, from its first
// byte to the end of its record.
void text_block_writer::hex_dump(const indx_entry& entry, std::span<const uint8_t> record_buffer) {
  const bool own_bytes = entry.offset.frame == offset_frame::volume;
  if (record_buffer.empty() || (!own_bytes && (entry.offset.bytes == 0 || entry.offset.bytes >= record_buffer.size())))
    return;
  const size_t start = own_bytes ? 0 : static_cast<size_t>(entry.offset.bytes);
  const size_t left = record_buffer.size() - start;
  const size_t length = entry.size < left ? entry.size : left;
  m_block += format_hex_dump(vk::binary_data(record_buffer.subspan(start, length)), entry.offset.bytes);
}

void text_block_writer::mft_state_lines(const mft_state_info& state) {
  line("MFT state:", mft_state_word(state.state));
  line("MFT record:", state.state == mft_state::unknown ? std::string() : mft_record_text(state.record));
  if (state.state == mft_state::moved) line("Current path:", vk::escape_controls(state.current_path));
}

std::string_view text_block_writer::block(const indx_entry& entry, const std::string& directory,
                                          std::span<const uint8_t> record_buffer, const mft_state_info* state) {
  m_block.clear();
  label("Name:");
  m_block += directory;
  vk::append_visible_name(m_block, entry.name);
  m_block += '\n';
  reference_lines(entry);
  label("Entry:");
  append_validity_text(m_block, entry);
  m_block += '\n';
  time_line("Modify time:", entry.modified());
  time_line("Access time:", entry.accessed());
  time_line("MFTChanged time:", entry.mft_changed());
  time_line("Create time:", entry.created());
  if (!entry.is_dir) {
    number_line("Size allocated:", entry.alloc_size(), size_digits);
    number_line("Size used:", entry.real_size(), size_digits);
  }
  number_line("Relative Offset:", entry.offset.bytes, size_digits);
  label("Type entry:");
  m_block += "0x";
  m_block += vk::number_text::hex(entry.attr_flags(), flags_digits).view();
  m_block += " [";
  m_block += m_flags_text.text_of(entry.attr_flags());
  m_block += "]\n";
  line("Source type:", source_type_text(entry.source));
  if (state != nullptr) mft_state_lines(*state);
  if (!m_options.snapshot.empty()) line("Snapshot:", m_options.snapshot);
  if (!m_options.username.empty()) line("Username:", m_options.username);
  if (!m_options.hostname.empty()) line("Hostname:", m_options.hostname);
  if (m_options.hexdump) hex_dump(entry, record_buffer);
  m_block += '\n';
  return m_block;
}
