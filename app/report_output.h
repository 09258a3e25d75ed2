// Where the report goes: standard output, or the results file of -out.
//
// The results file is opened early, so that an unusable name ends the run
// before any work, but without emptying it.  It is emptied and written only
// once every source has been opened and compared with it by identity (device
// and inode): a results file that is one of the sources would otherwise
// overwrite the evidence.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/indx_options.h"
#include "support/file_util.h"
#include "support/output_sink.h"

class report_output {
 public:
  explicit report_output(const indx_options& options) : m_options(options) {}

  // Compares the named sources with the results file and opens it.  False,
  // after the message, when it is one of them or cannot be opened.
  bool open(const std::vector<std::string>& named_sources);

  // True, after the message, when the results file is one of the files the
  // sources have opened so far (a VMDK extent, a container segment...).
  bool is_an_opened_source() const;

  // A run refused before its report began still shows, on standard output,
  // the header of what was asked.
  static void show_header_only(const std::string& header);

  // Empties the results file and writes the report header (none when it is
  // empty: -nobanner); once.
  void begin(const std::string& header);
  bool writes_results_file() const { return !m_options.results_file.empty(); }
  // True when -append opened a results file that already holds something.
  bool continues_a_file() const { return m_continues_a_file; }

  vk::output_sink& sink() { return *m_sink; }
  bool failed() const { return m_sink && m_sink->failed(); }

  // Flushes and closes the report; a failed write, flush or close is reported
  // with the system's reason.  False then.
  bool finish();

 private:
  void refuse_source() const;

  const indx_options& m_options;
  std::optional<vk::output_sink> m_sink;
  std::optional<vk::file_identity> m_identity;
  bool m_begun = false;
  bool m_continues_a_file = false;
};
