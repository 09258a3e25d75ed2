#include "app/indx_file_mode.h"

#include <iostream>

#include "app/report_entries.h"
#include "indx/indx_block.h"
#include "support/file_util.h"
#include "support/message.h"

namespace {

// An INDX file is read up to 512 records; anything past that is ignored.
constexpr size_t indx_file_read_limit = 2 * 1024 * 1024;

}  // namespace

int run_indx_file(const std::string& file_name, const indx_options& options, entry_writer& writer) {
  byte_array block;
  if (!vk::read_file_prefix(file_name, indx_file_read_limit, block) || block.empty()) {
    // The name printed here is the -path value, which this mode never reads,
    // so the message names no file.  Kept as the tool has always reported it.
    vk::print_message("prob reading file: %s\n", options.target_path.c_str());
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
  write_selected_entries(report, options, writer, block, block);
  return 0;
}

int run_indx_file_list(const indx_options& options, entry_writer& writer) {
  int status = 0;
  if (!options.indx_file.empty()) status = run_indx_file(options.indx_file, options, writer);
  for (std::string name; std::getline(std::cin, name);) {
    if (!name.empty() && name.back() == '\r') name.pop_back();
    if (name.empty()) continue;
    if (run_indx_file(name, options, writer) != 0) status = -1;
  }
  return status;
}
