#include "app/driver.h"

#include <unistd.h>

#include <memory>

#include "app/command_line.h"
#include "app/indx_file_mode.h"
#include "app/volume_mode.h"
#include "report/entry_writer.h"
#include "support/message.h"
#include "support/output_sink.h"

namespace {

bool help_requested(const arg_list& args) {
  if (args.size() == 1) return true;
  for (const char* name : {"-h", "-help", "/?", "--help"}) {
    if (has_flag_from(name, args, 1)) return true;
  }
  return false;
}

std::string tool_name(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The report header: the banner, then the command line as given, quoted.
// With -pipe the file names came from standard input, which the echo records.
std::string compose_header(const arg_list& args, const indx_options& options) {
  std::string header = "slix " + options.version_label + "\n";
  header += "command line: \"";
  if (has_flag_from("-pipe", args, 1)) header += "<filelist> ... | ";
  header += tool_name(args[0]);
  for (size_t i = 1; i < args.size(); ++i) header += " " + args[i];
  header += "\"\n";
  return header;
}

void write_to_stdout(const std::string& text) {
  vk::output_sink out;
  out << text;
}

int run_mode(arg_list& args, indx_options& options, vk::output_sink& out, const std::string& header) {
  out << header << "\n";
  entry_writer writer(options, out);
  // With -pipe and no volume source, the INDX file names come from standard
  // input; a volume source always means volume mode.
  const bool volume_source = !options.image_file.empty() || !options.vmdk_list.empty() ||
                             !options.drive_number.empty() || !options.partition.empty();
  if (options.pipe && !volume_source) return run_indx_file_list(options, writer);
  if (options.indx_file.empty()) return run_volume_mode(args, options, writer);
  return run_indx_file(options.indx_file, options, writer);
}

}  // namespace

int run_slix(int argc, char** argv) {
  arg_list args(argv, argv + argc);
  if (args.empty()) return -1;
  if (help_requested(args)) {
    print_usage();
    return 0;
  }
  indx_options options;
  const std::string header = compose_header(args, options);
  int results_fd = -1;
  const int status = read_common_options(args, options, results_fd);
  if (status == reader_show_usage || status == reader_failed) {
    write_to_stdout(header);
    if (status == reader_show_usage) print_usage();
    return -1;
  }
  read_selection_options(args, options);
  vk::status_line::set_enabled(!options.quiet);
  if (!options.results_file.empty() && results_fd < 0) {
    vk::print_message("prob opening results file: %s for writing\n", options.results_file.c_str());
    return -1;
  }
  vk::output_sink out(results_fd >= 0 ? results_fd : STDOUT_FILENO, results_fd >= 0);
  const int result = run_mode(args, options, out, header);
  vk::status_line::clear();
  return result;
}
