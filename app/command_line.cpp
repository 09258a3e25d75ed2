#include "app/command_line.h"

#include <algorithm>
#include <charconv>

#include "app/shadow_copies.h"
#include "disk/shadow_copies.h"
#include "support/message.h"
#include "support/vk_string.h"

bool take_flag(const std::string& name, arg_list& args, bool keep) {
  const auto it = std::find(args.begin(), args.end(), name);
  if (it == args.end()) return false;
  if (!keep) args.erase(it);
  return true;
}

bool has_flag_from(const std::string& name, const arg_list& args, size_t first) {
  return first < args.size() && std::find(args.begin() + static_cast<std::ptrdiff_t>(first), args.end(), name) != args.end();
}

bool take_value(const std::string& name, arg_list& args, std::string& value) {
  const auto it = std::find(args.begin(), args.end(), name);
  if (it == args.end()) return false;
  const auto next = it + 1;
  if (next == args.end()) {
    args.erase(it);
    return true;
  }
  value = *next;
  args.erase(it, next + 1);
  return true;
}

bool parse_number(const std::string& text, uint64_t& value) {
  const bool is_hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const char* first = text.data() + (is_hex ? 2 : 0);
  const char* last = text.data() + text.size();
  if (first == last) return false;
  const auto result = std::from_chars(first, last, value, is_hex ? 16 : 10);
  return result.ec == std::errc() && result.ptr == last;
}

namespace {

bool date_pattern_acceptable(const std::string& pattern) { return pattern.size() == 8 || pattern.size() == 10; }

bool time_pattern_acceptable(const std::string& pattern) {
  const bool length_ok = pattern.size() == 8 || (pattern.size() >= 12 && pattern.size() <= 18);
  return length_ok && pattern.find(':') != std::string::npos;
}

// -dateformat / -timeformat: an unusable pattern is a warning, not an error.
void read_pattern_option(const char* name, arg_list& args, bool (*acceptable)(const std::string&),
                         std::string& stored) {
  std::string pattern;
  if (!take_value(name, args, pattern)) return;
  if (acceptable(pattern)) {
    stored = vk::to_lower(pattern);
  } else {
    vk::print_message("invalid %s, using default format\n", pattern.c_str());
  }
}

void read_layout_options(arg_list& args, indx_options& options) {
  if (take_flag("-csv", args)) options.format = output_format::csv;
  if (take_flag("-csvl2t", args)) options.format = output_format::log2timeline;
  if (take_flag("-bodyfile", args)) options.format = output_format::bodyfile;
  if (take_flag("-jsonl", args)) options.format = output_format::jsonl;
  // JSON Lines hold nothing but JSON objects: -jsonl implies -nobanner.
  options.no_banner = take_flag("-nobanner", args) || options.format == output_format::jsonl;
  options.pair_datetime = take_flag("-pair_datetime", args);
  options.base10 = take_flag("-base10", args);
  take_value("-csv_separator", args, options.csv_separator);
  options.no_whitespace = take_flag("-no_whitespace", args);
  read_pattern_option("-dateformat", args, date_pattern_acceptable, options.date_format);
  read_pattern_option("-timeformat", args, time_pattern_acceptable, options.time_format);
  take_value("-username", args, options.username);
  take_value("-hostname", args, options.hostname);
  options.quiet = take_flag("-quiet", args);
  options.pipe = take_flag("-pipe", args);
}

// -out / -outfile (with -append).  Only the name is taken here: the file is
// opened once every source has been named, and emptied once every source has
// been opened and found not to be it.
void read_results_file_option(arg_list& args, indx_options& options) {
  if (!take_value("-out", args, options.results_file)) take_value("-outfile", args, options.results_file);
  options.append = take_flag("-append", args);
}

// -vss list, all or a store number.  Shadow copies are read with libvshadow:
// a slix built without it refuses the option, naming the package.  They
// belong to a volume, so an INDX file alone has none.
bool refuse_shadow_copies(arg_list& args, indx_options& options) {
  if (!take_value("-vss", args, options.shadow_copies)) return false;
  if (!shadow_copies_supported()) {
    vk::print_message("prob with option -vss: this slix was built without libvshadow; install libvshadow-dev and "
                      "rebuild\n");
    return true;
  }
  if (!shadow_copies_value_valid(options.shadow_copies)) {
    vk::print_message("prob with option -vss: \"%s\" is not list, all or a store number from 1\n",
                      vk::escape_controls(options.shadow_copies).c_str());
    return true;
  }
  const bool volume_source = !options.image_file.empty() || !options.vmdk_list.empty() ||
                             !options.drive_number.empty() || !options.partition.empty();
  if (volume_source) return false;
  vk::print_message("prob with option -vss: shadow copies are read from a volume (-image, -vmdk, -drivenum, "
                    "-partition)\n");
  return true;
}

int read_source_options(arg_list& args, indx_options& options) {
  take_value("-image", args, options.image_file);
  std::string offset_text;
  if (take_value("-offset", args, offset_text) && !offset_text.empty()) {
    if (!parse_number(offset_text, options.volume_offset)) {
      vk::print_message("invalid volume offset: %s\n", offset_text.c_str());
      return reader_failed;
    }
    // An offset of 0 means "find the volume", as when none is given.
    options.offset_given = options.volume_offset != 0;
  }
  take_value("-vmdk", args, options.vmdk_list);
  take_value("-drivenum", args, options.drive_number);
  take_value("-partition", args, options.partition);
  take_value("-indxfile", args, options.indx_file);
  if (refuse_shadow_copies(args, options)) return reader_failed;
  // -pipe alone names its INDX files on standard input; an empty list is
  // found wanting once it has been read.
  const bool any_source = !options.image_file.empty() || !options.vmdk_list.empty() ||
                          !options.drive_number.empty() || !options.partition.empty() ||
                          !options.indx_file.empty() || options.pipe;
  if (any_source) return reader_ok;
  vk::print_message(
      "error: need to specify at least an input source [-mftfile, -image, -drivenum, -partition, -vmdk]\n");
  return reader_no_source;
}

}  // namespace

int read_common_options(arg_list& args, indx_options& options) {
  if (args.size() < 2) return reader_show_usage;
  options.valid = true;
  options.slack = options.all = options.nodups = false;
  read_layout_options(args, options);
  read_results_file_option(args, options);
  const int status = read_source_options(args, options);
  build_time_format_spec(options.time_spec, options.date_format, options.time_format, options.pair_datetime);
  return status;
}

void read_selection_options(arg_list& args, indx_options& options) {
  if (take_flag("-all", args)) {
    options.all = true;
    options.slack = false;
    options.valid = false;
  }
  if (take_flag("-slack", args)) options.slack = true;
  if (take_flag("-nodups", args)) options.nodups = true;
  if (take_flag("-valid", args)) options.valid = true;
  options.hexdump = take_flag("-hexdump", args);
  options.ignore_image_size = take_flag("-ignore_image_size", args);
  options.raw_dump = take_flag("-rawdump", args);
  options.unalloc = take_flag("-unalloc", args);
  options.mft_state = take_flag("-mftstate", args);
}

void read_volume_target_options(arg_list& args, indx_options& options) {
  std::string text;
  uint64_t number = 0;
  if (take_value("-level", args, text) && parse_number(text, number)) {
    options.level = static_cast<uint32_t>(std::min<uint64_t>(number, UINT32_MAX));
  }
  text.clear();
  // -mft without a number names no entry: the next start rule applies.
  if (take_value("-mft", args, text) && parse_number(text, number)) options.target_mft = number;
  take_value("-path", args, options.target_path);
}

bool refuse_leftover_arguments(const arg_list& args) {
  for (size_t i = 1; i < args.size(); ++i)
    vk::print_message("prob with argument \"%s\": not an option of slix, or a value without its option\n",
                      vk::escape_controls(args[i]).c_str());
  return args.size() > 1;
}
