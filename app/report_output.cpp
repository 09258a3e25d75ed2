#include "app/report_output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "support/check.h"
#include "support/message.h"

namespace {

// A regular file with something in it (a terminal, a pipe or a device never).
bool holds_data(int fd) {
  struct stat info {};
  return ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_size > 0;
}

// Standard output as the evidence it may be: redirected onto an image with
// `>>` or `1<>`, it stores what is written to it.
bool stdout_is_a_source(const std::vector<std::string>& names) {
  const std::optional<vk::file_identity> out = vk::storage_identity_of_fd(STDOUT_FILENO);
  return out && vk::is_source_or_named(*out, names);
}

}  // namespace

const char* report_output::destination_name() const {
  return writes_results_file() ? m_options.results_file.c_str() : "/dev/stdout";
}

void report_output::refuse_source() {
  m_destination_refused = true;
  vk::print_message("prob opening file %s for output, it is the source being analysed, aborting\n",
                    destination_name());
}

bool report_output::check_named_sources(const std::vector<std::string>& names) {
  m_named_sources = names;
  const std::optional<vk::file_identity> destination =
      writes_results_file() ? vk::identity_of_path(m_options.results_file) : vk::storage_identity_of_fd(STDOUT_FILENO);
  if (!destination || !vk::is_source_or_named(*destination, names)) return true;
  refuse_source();
  return false;
}

bool report_output::refuses_an_opened_source() {
  const std::optional<vk::file_identity> existing = vk::identity_of_path(m_options.results_file);
  if (!writes_results_file() || !existing || !vk::is_source_file(*existing)) return false;
  refuse_source();
  return true;
}

// The results file is opened without truncation and compared once more by
// its descriptor: only a file that is none of the sources is emptied.
bool report_output::open_sink() {
  if (!writes_results_file()) {
    if (stdout_is_a_source(m_named_sources)) {
      refuse_source();
      return false;
    }
    m_sink.emplace();
    return true;
  }
  vk::unique_fd fd = vk::output_sink::open_results_file(m_options.results_file, m_options.append);
  if (!fd.valid()) {
    m_destination_refused = true;
    vk::print_message("prob opening file %s for output, aborting\n", m_options.results_file.c_str());
    return false;
  }
  const std::optional<vk::file_identity> identity = vk::identity_of_fd(fd.get());
  if (identity && vk::is_source_or_named(*identity, m_named_sources)) {
    refuse_source();
    return false;
  }
  m_options.column_header = !(m_options.no_banner && m_options.append && holds_data(fd.get()));
  m_sink.emplace(std::move(fd));
  m_sink->truncate_results();
  return true;
}

bool report_output::begin() {
  if (begun()) return true;
  if (!open_sink()) return false;
  if (!m_header.empty()) *m_sink << m_header << "\n";
  m_writer.emplace(m_options, *m_sink);
  return true;
}

entry_writer& report_output::writer() {
  SLIX_CHECK(m_writer.has_value());
  return *m_writer;
}

void report_output::show_header_only(const std::string& header, const std::vector<std::string>& names) {
  if (header.empty() || stdout_is_a_source(names)) return;
  vk::output_sink out;
  out << header;
}

void report_output::show_header_if_not_begun(const std::vector<std::string>& names) const {
  if (begun()) return;
  std::vector<std::string> all = m_named_sources;
  all.insert(all.end(), names.begin(), names.end());
  // A run that failed on its way has the header as a begun report would
  // have it, with a line end; one refused its destination, as a refused
  // option has it.
  if (!m_header.empty()) show_header_only(m_destination_refused ? m_header : m_header + "\n", all);
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
