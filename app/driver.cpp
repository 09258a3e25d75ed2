#include "app/driver.h"

#include <cstring>

#include "app/command_line.h"
#include "app/indx_file_mode.h"
#include "app/report_output.h"
#include "app/volume_mode.h"
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

// --version: the banner line alone, the GNU convention.
int show_version(const indx_options& options) {
  vk::output_sink out;
  out << "slix " + options.version_label + "\n";
  if (out.finish()) return 0;
  vk::print_message("prob writing results to standard output: %s\n", std::strerror(out.error()));
  return -1;
}

// With -nobanner (and -jsonl) the report holds only the layout's own lines:
// the header goes to standard error at once, before any message about the
// options, so the run's provenance stays with it.  Nothing is then left to
// write to the report.  The option reader sets report_options::no_banner from
// the same two flags.
std::string report_header(std::string header, const arg_list& args) {
  if (!has_flag_from("-nobanner", args, 1) && !has_flag_from("-jsonl", args, 1)) return header;
  vk::print_message("%s", header.c_str());
  return {};
}

// The evidence named in -jsonl lines for a volume source, as the command
// line gave it.
std::string volume_evidence(const indx_options& options) {
  if (!options.image_file.empty()) return options.image_file;
  if (!options.vmdk_list.empty()) return options.vmdk_list;
  return options.drive_number.empty() ? options.partition : "drive " + options.drive_number;
}

// A run refused at start-up still shows what was asked, on standard output,
// unless standard output is one of the files the arguments name.
int refuse(const std::string& header, bool show_usage, const arg_list& args) {
  report_output::show_header_only(header, args);
  if (show_usage) print_usage();
  return -1;
}

bool has_volume_source(const indx_options& options) {
  return !options.image_file.empty() || !options.vmdk_list.empty() || !options.drive_number.empty() ||
         !options.partition.empty();
}

// A volume source always means volume mode, and standard input stays unread;
// without one, an INDX file or -pipe's list of them.
bool indx_file_mode(const indx_options& options) {
  return !has_volume_source(options) && (!options.indx_file.empty() || options.pipe);
}

// Options that read what only a volume has (its free clusters, its MFT)
// mean nothing to a file of INDX records.
bool refuse_volume_options(const indx_options& options) {
  if (options.unalloc)
    vk::print_message(
        "prob with option -unalloc: it searches a volume's free clusters and MFT records, which an INDX file does "
        "not have; give the volume with -image, -vmdk, -partition or -drivenum\n");
  if (options.mft_state)
    vk::print_message(
        "prob with option -mftstate: it reads the MFT records the entries name, which an INDX file does not have; "
        "give the volume with -image, -vmdk, -partition or -drivenum\n");
  return options.unalloc || options.mft_state;
}

int run_mode(indx_options& options, const std::string& header, const arg_list& args) {
  report_output output(options, header);
  int status = 0;
  if (indx_file_mode(options)) {
    status = refuse_volume_options(options) ? -1 : run_indx_mode(options, output);
  } else {
    options.evidence = volume_evidence(options);
    status = run_volume_mode(options, output);
  }
  vk::status_line::clear();
  output.show_header_if_not_begun(args);
  return output.finish() ? status : -1;
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
  if (has_flag_from("--version", args, 1)) return show_version(options);
  const std::string header = report_header(compose_header(args, options), args);
  const arg_list given = args;
  const int status = read_common_options(args, options);
  if (status == reader_show_usage || status == reader_failed) return refuse(header, status == reader_show_usage, given);
  read_selection_options(args, options);
  read_volume_target_options(args, options);
  if (refuse_leftover_arguments(args)) return refuse(header, false, given);
  vk::status_line::set_enabled(!options.quiet);
  return run_mode(options, header, given);
}
