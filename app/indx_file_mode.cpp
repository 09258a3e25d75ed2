#include "app/indx_file_mode.h"

#include <unistd.h>

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

// Reads and analyses one file; its report begins with the first file read.
// -1 when the file failed, -2 when the report could not begin.
int run_indx_file(const std::string& file_name, const indx_options& options, report_output& output) {
  byte_array block;
  const int error = vk::read_file_prefix(file_name, indx_file_read_limit, block);
  if (error != 0 || block.empty()) {
    report_unreadable(file_name, options, error);
    return -1;
  }
  if (!output.begin()) return -2;
  vk::status_line::show("parsing: " + vk::escape_controls(file_name));
  entry_report report;
  const bool analysed = analyse_indx_block(block, 0, options.max_plausible_entry, report);
  vk::status_line::clear();
  if (!analysed) {
    vk::print_message("prob analyzing file: %s\n", vk::escape_controls(file_name).c_str());
    return -1;
  }
  entry_writer& writer = output.writer();
  writer.set_directory("");
  writer.set_evidence(file_name);
  write_selected_entries(report, options, writer, source_buffers{.indx_file = block});
  return 0;
}

// -pipe reads names from standard input; a terminal there would wait for
// names nobody means to type.
bool refuse_terminal_input(const indx_options& options) {
  if (!options.pipe || ::isatty(STDIN_FILENO) != 1) return false;
  vk::print_message(
      "prob with -pipe: it reads INDX file names from standard input, one a line, and standard input is a "
      "terminal (ls *.indx | slix -pipe ...)\n");
  return true;
}

// One name a line; blanks at either end and a trailing carriage return are
// not part of it, and empty lines name nothing.
std::string trimmed_name(const std::string& line) {
  const size_t first = line.find_first_not_of(" \t\r");
  if (first == std::string::npos) return {};
  return line.substr(first, line.find_last_not_of(" \t\r") + 1 - first);
}

// The INDX files of the run: the one named by -indxfile, then, with -pipe,
// the names read from standard input.
std::vector<std::string> indx_file_names(const indx_options& options) {
  std::vector<std::string> names;
  if (!options.indx_file.empty()) names.push_back(options.indx_file);
  if (!options.pipe) return names;
  for (std::string line; std::getline(std::cin, line);) {
    std::string name = trimmed_name(line);
    if (!name.empty()) names.push_back(std::move(name));
  }
  return names;
}

}  // namespace

int run_indx_mode(const indx_options& options, report_output& output) {
  if (refuse_terminal_input(options)) return -1;
  // Every name is read before anything is written, so the results file and
  // standard output can be compared with all of them first.
  const std::vector<std::string> names = indx_file_names(options);
  if (names.empty()) {
    vk::print_message(
        "error: need to specify at least an input source [-mftfile, -image, -drivenum, -partition, -vmdk]\n");
    return -1;
  }
  if (!output.check_named_sources(names)) return -1;
  int status = 0;
  for (const std::string& name : names) {
    const int file_status = run_indx_file(name, options, output);
    if (file_status == -2) return -1;
    if (file_status != 0) status = -1;
    if (output.failed()) break;
  }
  return status;
}
