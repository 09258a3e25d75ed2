#include "app/indx_file_mode.h"

#include <cstring>
#include <iostream>

#include "app/report_entries.h"
#include "indx/indx_block.h"
#include "support/file_util.h"
#include "support/message.h"
#include "support/vk_string.h"

namespace {

// An INDX file is read up to 512 records; anything past that is ignored.
constexpr size_t indx_file_read_limit = 2 * 1024 * 1024;

void report_unreadable(const std::string& file_name, const indx_options& options, int error) {
  // The name printed here is the -path value, which this mode never reads,
  // so the message names no file.  Kept as the tool has always reported it.
  vk::print_message("prob reading file: %s\n", options.target_path.c_str());
  // Among a hundred files of a -pipe list, the examiner must know which one.
  if (options.pipe)
    vk::print_message("prob reading INDX file %s: %s\n", vk::escape_controls(file_name).c_str(),
                      error != 0 ? std::strerror(error) : "the file is empty");
}

int run_indx_file(const std::string& file_name, const indx_options& options, entry_writer& writer) {
  byte_array block;
  const int error = vk::read_file_prefix(file_name, indx_file_read_limit, block);
  if (error != 0 || block.empty()) {
    report_unreadable(file_name, options, error);
    return -1;
  }
  vk::status_line::show("parsing: " + file_name);
  entry_report report;
  const bool analysed = analyse_indx_block(block, 0, options.max_plausible_entry, report);
  vk::status_line::clear();
  if (!analysed) {
    vk::print_message("prob analyzing file: %s\n", file_name.c_str());
    return -1;
  }
  writer.set_directory("");
  writer.set_evidence(file_name);
  write_selected_entries(report, options, writer, source_buffers{.indx_file = block});
  return 0;
}

}  // namespace

std::vector<std::string> indx_file_names(const indx_options& options) {
  std::vector<std::string> names;
  if (!options.indx_file.empty()) names.push_back(options.indx_file);
  if (!options.pipe) return names;
  for (std::string name; std::getline(std::cin, name);) {
    if (!name.empty() && name.back() == '\r') name.pop_back();
    if (!name.empty()) names.push_back(name);
  }
  return names;
}

int run_indx_files(const std::vector<std::string>& names, const indx_options& options, entry_writer& writer,
                   report_output& output) {
  int status = 0;
  for (const std::string& name : names) {
    if (run_indx_file(name, options, writer) != 0) status = -1;
    if (output.failed()) break;
  }
  return status;
}
