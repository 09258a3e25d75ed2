// INDX-file mode: files of raw 4096-byte INDX records, each analysed as one
// block.
#pragma once

#include <string>
#include <vector>

#include "app/indx_options.h"
#include "app/report_output.h"

// Analyses the -indxfile file and, with -pipe, every file named on standard
// input (one a line), under one report.  A file that fails is reported by
// name and the others still run.  Returns the exit status: 0, or -1 when any
// file failed or none could be read.
int run_indx_mode(const indx_options& options, report_output& output);
