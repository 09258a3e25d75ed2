// INDX-file mode: files of raw 4096-byte INDX records, each analysed as one
// block.
#pragma once

#include <string>
#include <vector>

#include "app/indx_options.h"
#include "app/report_output.h"
#include "report/entry_writer.h"

// The INDX files of the run: the one named by -indxfile, then, with -pipe,
// the names read from standard input, one a line.  Standard input is read
// whole here, before the results file is opened.
std::vector<std::string> indx_file_names(const indx_options& options);

// Analyses each file in turn and writes its selected entries.  A file that
// fails is reported and, with -pipe, the others still run.  Returns the exit
// status: 0, or -1 when any file failed.
int run_indx_files(const std::vector<std::string>& names, const indx_options& options, entry_writer& writer,
                   report_output& output);
