#include "report/entry_writer.h"

#include "report/jsonl_writer.h"
#include "report/text_block.h"
#include "report/timeline_writer.h"
#include "support/vk_string.h"

namespace {

// The Sleuth Kit's own bodyfiles (fls -m) have no header line; -nobanner
// writes them so.
bool writes_column_header(const report_options& options) {
  return options.column_header && !(options.no_banner && options.format == output_format::bodyfile);
}

}  // namespace

entry_writer::entry_writer(const report_options& options, vk::output_sink& out)
    : m_options(options), m_out(out), m_evidence(options.evidence), m_header_pending(writes_column_header(options)) {}

void entry_writer::set_directory(const std::string& path) {
  m_directory = path;
  m_visible_directory = vk::escape_controls(path);
}

void entry_writer::write(const indx_entry& entry, std::span<const uint8_t> record_buffer) {
  const mft_state_info* state = m_options.mft_state ? &m_mft_state : nullptr;
  switch (m_options.format) {
    case output_format::text:
      if (!m_text) m_text.emplace(m_options);
      m_out.write(m_text->block(entry, m_visible_directory, record_buffer, state));
      break;
    case output_format::csv:
      if (!m_csv) m_csv.emplace(m_options);
      if (m_header_pending) m_out.write(m_csv->header());
      m_header_pending = false;
      m_out.write(m_csv->row(entry, m_visible_directory, state));
      break;
    case output_format::log2timeline:
      write_log2timeline_rows(m_header_pending, m_out,
                              make_timeline_record(entry, m_visible_directory, m_options, state), m_options);
      break;
    case output_format::bodyfile:
      write_bodyfile_line(m_header_pending, m_out, make_bodyfile_record(entry, m_visible_directory, m_options));
      break;
    case output_format::jsonl:
      if (!m_jsonl) m_jsonl.emplace(m_options);
      m_out.write(m_jsonl->lines(entry, m_directory, m_evidence, state));
      break;
  }
}
