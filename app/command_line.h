// Reading the command line into indx_options.  Options are whole arguments,
// matched exactly and case-sensitively; each test removes what it matches, so
// an option is acted on once and the order of the tests is part of the
// behaviour.
#pragma once

#include <string>
#include <vector>

#include "app/indx_options.h"

using arg_list = std::vector<std::string>;

// Presence test; removes the matched element unless `keep`.
bool take_flag(const std::string& name, arg_list& args, bool keep = false);
// Presence test from `first` on; removes nothing.
bool has_flag_from(const std::string& name, const arg_list& args, size_t first);
// Value test: copies the element after `name` into `value` and removes both.
// A name in last position is found but yields no value.
bool take_value(const std::string& name, arg_list& args, std::string& value);

// Status of the common option reader.
enum reader_status : int {
  reader_ok = 0,
  reader_failed = -1,  // refused or failing option; message already printed
  reader_show_usage = -2,
  reader_no_source = -3,  // message already printed; the run goes on
};

// Reads the output, layout and source options shared with other tools.  The
// results file is only named here; the caller opens it.
int read_common_options(arg_list& args, indx_options& options);

// Applies -all, -slack, -nodups, -valid in that fixed order, and the other
// options only this tool has (-hexdump, -ignore_image_size, ...).
void read_selection_options(arg_list& args, indx_options& options);

// Reads -level, -mft and -path.  INDX-file mode takes them too and never
// acts on them.  A -mft value that is not a number is ignored.
void read_volume_target_options(arg_list& args, indx_options& options);

// Every argument that no option took is a mistake (a mistyped option, a path
// with a blank left unquoted): one line each names it.  True when any is left.
bool refuse_leftover_arguments(const arg_list& args);

// Parses "0x..." hexadecimal or plain decimal; false on anything else.
bool parse_number(const std::string& text, uint64_t& value);

// The usage text, written to standard error.
void print_usage();
