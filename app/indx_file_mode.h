// INDX-file mode: a file of raw 4096-byte INDX records analysed as one block.
#pragma once

#include <string>

#include "app/indx_options.h"
#include "report/entry_writer.h"

// Analyses one INDX file and writes its selected entries; returns the exit
// status of the run (0, or -1 after a message).
int run_indx_file(const std::string& file_name, const indx_options& options, entry_writer& writer);

// -pipe: runs INDX-file mode once per file name read from standard input,
// after the file named by -indxfile when one was given.  A file that fails
// is reported and the rest still run; the status is -1 when any failed.
int run_indx_file_list(const indx_options& options, entry_writer& writer);
