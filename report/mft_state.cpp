#include "report/mft_state.h"

std::string_view mft_state_word(mft_state state) {
  switch (state) {
    case mft_state::live: return "live";
    case mft_state::moved: return "moved";
    case mft_state::deleted: return "deleted";
    case mft_state::reused: return "reused";
    case mft_state::unknown: return "unknown";
  }
  return "unknown";
}

std::string mft_record_text(mft_ref record) {
  return std::to_string(mft_entry_of(record)) + "-" + std::to_string(mft_sequence_of(record));
}
