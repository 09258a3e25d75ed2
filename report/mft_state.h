// What became of the file behind an index entry (-mftstate), as the report
// shows it: the state of the MFT record the entry's reference names, or of
// the one recovered for it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "support/types.h"

enum class mft_state : uint8_t {
  live,     // in use, same sequence, a $FILE_NAME names this parent and name
  moved,    // in use, same sequence, no such $FILE_NAME: renamed or moved
  deleted,  // not in use, its $FILE_NAME still names this parent and name
  reused,   // the record belongs to another file now
  unknown,  // no record can be tied to the entry
};

struct mft_state_info {
  mft_state state = mft_state::unknown;
  mft_ref record = 0;        // the record the state describes; 0 for unknown
  std::string current_path;  // the file's path now, for moved
};

std::string_view mft_state_word(mft_state state);

// "103-2": the record's entry and sequence numbers, in decimal.
std::string mft_record_text(mft_ref record);
