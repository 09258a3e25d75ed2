// -mftstate: what became of the file behind each reported entry.
//
// The MFT record the entry's reference names is read (from the name index
// one pass over the MFT built) and compared with the entry:
//   live     in use, the same sequence number, and one of its $FILE_NAMEs
//            names the entry's parent and name;
//   moved    in use with the same sequence number, but no $FILE_NAME does:
//            the file was renamed or moved, and its path now is given;
//   deleted  not in use, a $FILE_NAME still names the parent and name, and
//            its sequence number is the entry's or one more (NTFS bumps it
//            when it frees a record): the record can still be read;
//   reused   the record belongs to another file now;
//   unknown  the reference is zero, past the MFT or unreadable.
// When the reference is zero or overwritten, or names a record that does
// not match, the record is looked for by the entry's parent, name and
// creation time; exactly one match gives its state and record.
#pragma once

#include <cstdint>
#include <optional>

#include "indx/indx_entry.h"
#include "ntfs/mft_names.h"
#include "report/mft_state.h"

class CNtfs;

class mft_states {
 public:
  explicit mft_states(CNtfs& volume) : m_volume(volume) {}

  // Filled by the MFT scan, then sealed.
  mft_names& names() { return m_names; }

  mft_state_info state_of(const indx_entry& entry) const;

 private:
  std::optional<mft_state_info> recovered(const indx_entry& entry, uint64_t name_digest) const;
  mft_state_info moved(uint64_t record, uint16_t sequence) const;

  CNtfs& m_volume;
  mft_names m_names;
};
