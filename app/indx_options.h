// The run options, filled once from the command line and read-only after
// start-up.  The report layout is the report_options part; the lower layers
// take only the few values they need, as arguments.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "report/report_options.h"

class mft_states;
class snapshot_gate;

struct indx_options : report_options {
  // Sources.
  std::string image_file;
  uint64_t volume_offset = 0;  // 0: find the volume by scanning
  bool offset_given = false;
  std::string vmdk_list;
  std::string drive_number;
  std::string partition;
  std::string indx_file;
  bool ignore_image_size = false;

  // Target inside a volume.
  std::optional<uint64_t> target_mft;
  std::string target_path;
  uint32_t level = 0;

  // Selection: which entries are written.
  bool valid = true;
  bool slack = false;
  bool all = false;
  bool nodups = false;

  bool quiet = false;

  // Results file; empty means standard output.
  std::string results_file;
  bool append = false;
  bool pipe = false;

  // -unalloc: index records in free clusters and entries in MFT record slack.
  bool unalloc = false;
  // -mftstate (report_options::mft_state): the states of the volume's
  // records, set once the MFT has been read.
  const mft_states* states = nullptr;

  // Raw dumps of a directory's index streams (".indx.root.bin", ".indx.alloc.bin").
  bool raw_dump = false;
  std::string dump_base_name;

  // A carved reference with sequence 0 and an entry number above this is
  // reported as 0.  Unlimited for INDX files; the MFT size on a volume.
  uint64_t max_plausible_entry = std::numeric_limits<uint64_t>::max();

  // -vss: "list", "all" or a store number (from 1); empty without -vss.
  std::string shadow_copies;
  // With -vss all: the gate every entry passes before it is written.
  snapshot_gate* snapshots = nullptr;

  std::string version_label = "ver: 0.58";
};
