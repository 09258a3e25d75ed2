// Buffered report output to standard output or a results file.  Text is
// gathered in a large buffer and written with few system calls; nothing is
// flushed per line.
//
// Report text written to a terminal first erases the status line, which
// stands on the last line of the terminal without a line feed: the report
// never continues the status text, and the next status line is drawn below
// the report.
//
// A failed write is remembered with its errno, and every later write is
// dropped: the caller asks failed() between pieces of work and reports the
// failure once, so a full disk ends the run instead of hiding under exit 0.
#pragma once

#include <string>
#include <string_view>

#include "support/file_util.h"

namespace vk {

class output_sink {
 public:
  // Writes to standard output.
  output_sink();
  // Writes to an opened results file, which the sink then owns.
  explicit output_sink(unique_fd results_file);
  ~output_sink();
  output_sink(const output_sink&) = delete;
  output_sink& operator=(const output_sink&) = delete;

  // Opens a results file for writing without truncating it (appending with
  // `append`); the file is emptied by truncate_results() only once every
  // source has been checked against it.  An invalid descriptor on failure,
  // with errno set.
  static unique_fd open_results_file(const std::string& name, bool append);

  // Empties a regular results file opened without -append; other kinds of
  // file (a terminal, a pipe, a device) have nothing to empty.
  bool truncate_results();

  int descriptor() const { return m_fd; }

  void write(std::string_view text);
  output_sink& operator<<(std::string_view text) {
    write(text);
    return *this;
  }
  void flush();
  // Flushes and closes a results file; false when anything failed on the way.
  bool finish();

  bool failed() const { return m_error != 0; }
  // The errno of the first failure, 0 when none.
  int error() const { return m_error; }

 private:
  static constexpr size_t flush_threshold = 1 << 16;
  unique_fd m_owned;
  int m_fd;
  bool m_terminal;
  int m_error = 0;
  std::string m_buffer;
};

}  // namespace vk
