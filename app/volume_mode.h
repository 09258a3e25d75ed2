// Volume mode: directories of an NTFS volume analysed one by one.
#pragma once

#include "app/command_line.h"
#include "app/indx_options.h"
#include "report/entry_writer.h"

// Opens the volume, queues the start directories and analyses them in
// ascending MFT entry order; returns the exit status of the run.
int run_volume_mode(arg_list& args, indx_options& options, entry_writer& writer);
