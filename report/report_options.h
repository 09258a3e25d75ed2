// What the report writers need to know of the run: the layout and its
// details.  The run's own options record (app/indx_options.h) extends this
// one, so the writers never see sources, targets or selection flags.
#pragma once

#include <string>

#include "report/time_format.h"

enum class output_format { text, csv, log2timeline, bodyfile };

struct report_options {
  output_format format = output_format::text;
  bool base10 = false;
  std::string date_format = "yyyy-mm-dd";
  std::string time_format = "hh:mm:ss.xxx";
  bool pair_datetime = false;
  bool no_whitespace = false;
  std::string csv_separator = ",";
  std::string username;
  std::string hostname;
  bool hexdump = false;
  time_format_spec time_spec;
  // The source-type label the log2timeline rows carry.
  std::string source_label = "NTFS:INDX";
};
