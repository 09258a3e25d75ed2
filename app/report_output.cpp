#include "app/report_output.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "support/message.h"

namespace {

// A regular file with something in it (a terminal, a pipe or a device never).
bool holds_data(int fd) {
  struct stat info {};
  return ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_size > 0;
}

}  // namespace

bool report_output::open(const std::vector<std::string>& named_sources) {
  if (!writes_results_file()) {
    m_sink.emplace();
    return true;
  }
  const std::optional<vk::file_identity> existing = vk::identity_of_path(m_options.results_file);
  for (const std::string& source : named_sources) {
    if (existing && vk::identity_of_path(source) == existing) {
      refuse_source();
      return false;
    }
  }
  vk::unique_fd fd = vk::output_sink::open_results_file(m_options.results_file, m_options.append);
  if (!fd.valid()) {
    vk::print_message("prob opening file %s for output, aborting\n", m_options.results_file.c_str());
    return false;
  }
  m_identity = vk::identity_of_fd(fd.get());
  m_continues_a_file = m_options.append && holds_data(fd.get());
  m_sink.emplace(std::move(fd));
  return true;
}

bool report_output::is_an_opened_source() const {
  if (!m_identity || !vk::is_source_file(*m_identity)) return false;
  refuse_source();
  return true;
}

void report_output::refuse_source() const {
  vk::print_message("prob opening file %s for output, it is the source being analysed, aborting\n",
                    m_options.results_file.c_str());
}

void report_output::show_header_only(const std::string& header) {
  vk::output_sink out;
  out << header;
}

void report_output::begin(const std::string& header) {
  if (m_begun) return;
  m_begun = true;
  if (writes_results_file()) m_sink->truncate_results();
  if (!header.empty()) *m_sink << header << "\n";
}

bool report_output::finish() {
  if (!m_sink || m_sink->finish()) return true;
  const char* reason = std::strerror(m_sink->error());
  if (writes_results_file()) {
    vk::print_message("prob writing results file %s: %s\n", m_options.results_file.c_str(), reason);
  } else {
    vk::print_message("prob writing results to standard output: %s\n", reason);
  }
  return false;
}
