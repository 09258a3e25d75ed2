// Volume mode: directories of an NTFS volume analysed one by one.
#pragma once

#include <string>

#include "app/indx_options.h"
#include "app/report_output.h"

// Opens the volume, queues the start directories and analyses them in
// ascending MFT entry order, writing the header and then the entries to
// `output` once the start directories are found; returns the exit status.
int run_volume_mode(indx_options& options, report_output& output);
