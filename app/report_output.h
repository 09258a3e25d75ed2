// Where the report goes: standard output, or the results file of -out.
//
// Nothing is written anywhere until a source has been opened and read: a run
// that fails before that (no source, a source that cannot be opened, a
// refused option) leaves an existing results file exactly as it was, so a
// typo never costs yesterday's report.  The report then begins: the results
// file, or standard output when it is a regular file or a block device, is
// compared by identity (device and inode) with every source named and every
// file the sources opened, and only then created, emptied and given the
// header.  A results file or standard output that is one of the sources
// would otherwise overwrite the evidence (`>> image.dd`, `1<> image.dd`).
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/indx_options.h"
#include "report/entry_writer.h"
#include "support/file_util.h"
#include "support/output_sink.h"

class report_output {
 public:
  report_output(indx_options& options, std::string header) : m_options(options), m_header(std::move(header)) {}

  // Refuses, with the message, a results file or a standard output that is
  // one of these named sources.  Nothing is opened or written.
  bool check_named_sources(const std::vector<std::string>& names);

  // True, after the message, when the results file is one of the files the
  // sources have opened so far (a VMDK extent, a container segment...).
  bool refuses_an_opened_source();

  // Starts the report, once: checks the destination against every source,
  // opens (creating) and empties the results file, writes the header.  False
  // after the message when the destination is a source or cannot be opened.
  bool begin();
  bool begun() const { return m_writer.has_value(); }

  // The writer of the begun report.
  entry_writer& writer();
  // The begun report's destination, for lines that are not entries (-vss list).
  vk::output_sink& sink() { return *m_sink; }

  // A run that ended before its report began still shows, on standard output,
  // the header of what was asked; never on a standard output that is one of
  // `names` or of the files opened as sources.
  void show_header_if_not_begun(const std::vector<std::string>& names = {}) const;
  static void show_header_only(const std::string& header, const std::vector<std::string>& names);

  bool writes_results_file() const { return !m_options.results_file.empty(); }
  bool failed() const { return m_sink && m_sink->failed(); }

  // Flushes and closes the report; a failed write, flush or close is reported
  // with the system's reason.  False then.
  bool finish();

 private:
  // The name the messages give the destination.
  const char* destination_name() const;
  void refuse_source();
  bool open_sink();

  indx_options& m_options;
  std::string m_header;
  std::vector<std::string> m_named_sources;
  std::optional<vk::output_sink> m_sink;
  std::optional<entry_writer> m_writer;
  bool m_destination_refused = false;
};
