#include "app/volume_mode.h"

#include "support/message.h"

int run_volume_mode(arg_list&, indx_options& options, entry_writer&) {
  vk::print_message("prob analyzing directory %s\n", options.target_path.c_str());
  return -1;
}
