// What the report writers need to know of the run: the layout and its
// details.  The run's own options record (app/indx_options.h) extends this
// one, so the writers never see sources, targets or selection flags.
#pragma once

#include <string>

#include "report/time_format.h"

enum class output_format { text, csv, log2timeline, bodyfile, jsonl };

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
  // -nobanner: the report holds only the layout's own lines (the banner and
  // the command line go to standard error), and a bodyfile has no header.
  bool no_banner = false;
  // False when the report continues a file that already holds its column
  // header (-append -nobanner to a non-empty results file).
  bool column_header = true;
  // The evidence a volume's entries come from, named in every -jsonl line:
  // the -image path, the -vmdk list, or the device.  INDX-file mode names
  // each file itself (entry_writer::set_evidence).
  std::string evidence;
  // -vss all: the state of the volume the entries come from, "live" or a
  // shadow copy's number and creation time ("2 (2020-07-25 12:27:05 UTC)").
  // Every layout but the bodyfile names it; empty, none has the column.
  std::string snapshot;
  // -mftstate: every layout but the bodyfile shows what became of the file
  // behind each entry (entry_writer::set_mft_state).
  bool mft_state = false;
};
