// The entry writer: every entry selected for the report passes through here
// and comes out in the layout the options chose (text block, CSV row,
// log2timeline rows, bodyfile line or JSON lines).
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "report/report_options.h"
#include "indx/indx_entry.h"
#include "report/csv_writer.h"
#include "report/jsonl_writer.h"
#include "report/mft_state.h"
#include "report/text_block.h"
#include "support/output_sink.h"

class entry_writer {
 public:
  entry_writer(const report_options& options, vk::output_sink& out);

  // Directory path put before every name ("" in INDX-file mode; "\\dir\\"
  // style in volume mode, always ending in a backslash).
  void set_directory(const std::string& path);
  const std::string& directory() const { return m_directory; }
  // The evidence the following entries come from (-jsonl names it on every
  // line): each INDX file in turn.  A volume's is report_options::evidence.
  void set_evidence(const std::string& name) { m_evidence = name; }
  // With -mftstate: what became of the file behind the next entry written.
  void set_mft_state(const mft_state_info& state) { m_mft_state = state; }

  // Writes one entry in the selected layout.  `record_buffer` is the raw
  // buffer the entry came from (its offset indexes into it), used only by
  // -hexdump.  The first call of a run writes the CSV, log2timeline or
  // bodyfile header line before its row, unless report_options say the
  // report has none (-nobanner: no bodyfile header; a continued file).
  void write(const indx_entry& entry, std::span<const uint8_t> record_buffer);

 private:
  const report_options& m_options;
  vk::output_sink& m_out;
  // Made by the first CSV write, so header and rows share the columns of the
  // options as they stand once the run has started.
  std::optional<csv_writer> m_csv;
  std::optional<text_block_writer> m_text;
  std::optional<jsonl_writer> m_jsonl;
  // The path as given (JSON Lines escape it their own way), and with its
  // hidden characters escaped for every other layout.
  std::string m_directory;
  std::string m_visible_directory;
  std::string m_evidence;
  mft_state_info m_mft_state;
  bool m_header_pending;
};
